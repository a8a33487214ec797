#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>

#include "Text.h"

namespace lumctl {
namespace {

constexpr size_t kBarWidth = 30;
constexpr auto kNoticeable = std::chrono::milliseconds(300);
constexpr auto kBetween = std::chrono::milliseconds(100);

}  // namespace

Progress::Progress(uint64_t total)
    : mTotal(std::max<uint64_t>(total, 1)),
      mOnTerminal(::isatty(STDERR_FILENO) == 1),
      mNext(Clock::now() + kNoticeable) {}

Progress::~Progress() {
    if (mShown) std::cerr << "\r\033[K";
}

void Progress::show(uint64_t done) {
    if (!mOnTerminal || Clock::now() < mNext) return;
    mNext = Clock::now() + kBetween;
    mShown = true;
    std::string bar(kBarWidth * done / mTotal, '#');
    bar.resize(kBarWidth, ' ');
    std::ostringstream line;  // goes out in one piece
    line << "\r[" << bar << "] " << std::setw(3) << 100 * done / mTotal << " %  "
         << byteCount(static_cast<double>(done)) << " of " << byteCount(static_cast<double>(mTotal))
         << "\033[K";
    std::cerr << line.str();
}

}  // namespace lumctl
