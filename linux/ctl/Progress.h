#pragma once

#include <chrono>
#include <cstdint>

namespace lumctl {

// A bar on standard error, for work that takes a noticeable time. Nothing is shown before that
// time, and never when standard error is not a terminal. The bar is gone when the object is.
class Progress {
  public:
    explicit Progress(uint64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // To be called as often as is convenient.
    void show(uint64_t done);

  private:
    using Clock = std::chrono::steady_clock;

    const uint64_t mTotal;
    const bool mOnTerminal;
    Clock::time_point mNext;
    bool mShown = false;
};

}  // namespace lumctl
