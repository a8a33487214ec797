#include "Progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "Text.h"

namespace lumctl {
namespace {

constexpr size_t kBarWidth = 30;
constexpr size_t kUsualWidth = 80;
constexpr auto kNoticeable = std::chrono::milliseconds(300);
constexpr auto kBetween = std::chrono::milliseconds(100);

// One column stays free: a terminal goes to the next line when the last one is written.
size_t terminalWidth() {
    winsize size = {};
    const bool known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return (known ? size.ws_col : kUsualWidth) - 1;
}

}  // namespace

std::string sendingLine(uint64_t done, uint64_t total, size_t width) {
    const uint64_t all = std::max<uint64_t>(total, 1);
    std::string bar(kBarWidth * done / all, '#');
    bar.resize(kBarWidth, ' ');
    const std::string percent = std::to_string(100 * done / all) + " %";
    const std::string rest = ", " + byteCount(static_cast<double>(done)) + " of " +
                             byteCount(static_cast<double>(total));
    for (const std::string& line : {"sending [" + bar + "] " + percent + rest,
                                    "sending " + percent + rest, "sending " + percent}) {
        if (line.size() <= width) return line;
    }
    return percent.substr(0, width);
}

std::string secondsLine(const std::string& what, int seconds, size_t width) {
    return (what + " ... " + std::to_string(seconds) + " s").substr(0, width);
}

Progress::Progress(uint64_t total, const Interruption& onInterrupt)
    : mTotal(total),
      mOnInterrupt(onInterrupt),
      mOnTerminal(::isatty(STDERR_FILENO) == 1),
      mStart(Clock::now()),
      mNext(mStart + kNoticeable) {}

Progress::~Progress() {
    stored();
    if (mShown) std::fputs("\r\033[K", stderr);
}

bool Progress::isDue() {
    if (!mOnTerminal || Clock::now() < mNext) return false;
    mNext = Clock::now() + kBetween;
    return true;
}

void Progress::show(const std::string& line) {
    mShown = true;
    std::fputs(("\r" + line + "\033[K").c_str(), stderr);  // in one piece
}

void Progress::waiting() {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - mStart);
    if (isDue()) {
        show(secondsLine("waiting for another client", static_cast<int>(seconds.count()),
                         terminalWidth()));
    }
}

void Progress::sending(uint64_t done) {
    if (isDue()) show(sendingLine(done, mTotal, terminalWidth()));
}

void Progress::storing() {
    mNotice.emplace(mOnInterrupt);
    mStored = false;
    if (mOnTerminal) mTicker = std::thread([this] { countSeconds(); });
}

void Progress::stored() {
    mNotice.reset();
    if (!mTicker.joinable()) return;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mStored = true;
    }
    mChanged.notify_one();
    mTicker.join();
}

void Progress::countSeconds() {
    const auto start = Clock::now();
    std::unique_lock<std::mutex> lock(mMutex);
    while (!mChanged.wait_for(lock, kBetween, [this] { return mStored; })) {
        const auto time = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start);
        if (isDue()) {
            show(secondsLine("storing", static_cast<int>(time.count()), terminalWidth()));
        }
    }
}

}  // namespace lumctl
