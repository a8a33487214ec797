#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "Interruption.h"

namespace lumctl {

// One line of at most `width` columns; what does not fit is left out, the bar first.
std::string sendingLine(uint64_t done, uint64_t total, size_t width);
std::string secondsLine(const std::string& what, int seconds, size_t width);

// Shows on standard error what a transfer is doing, for as long as it takes a noticeable time.
// Nothing is shown before that time, and never when standard error is not a terminal. The line is
// gone when the object is.
class Progress {
  public:
    // `onInterrupt` is told when an interrupt ends the process while the service is storing.
    Progress(uint64_t total, const Interruption& onInterrupt);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // The three phases. The first two are called as often as is convenient, the last once: from
    // then on the line changes by itself.
    void waiting();
    void sending(uint64_t done);
    void storing();
    // The service has answered.
    void stored();

  private:
    using Clock = std::chrono::steady_clock;

    bool isDue();
    void show(const std::string& line);
    void countSeconds();

    const uint64_t mTotal;
    const Interruption mOnInterrupt;
    const bool mOnTerminal;
    const Clock::time_point mStart;
    Clock::time_point mNext;
    bool mShown = false;
    std::optional<InterruptionNotice> mNotice;

    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mStored = false;  // guarded by mMutex
    std::thread mTicker;
};

}  // namespace lumctl
