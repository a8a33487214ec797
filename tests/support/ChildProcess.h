#pragma once

#include <sys/types.h>

#include <functional>

namespace support {

// A forked process that runs a function and then ends. Killed, if it still runs, when this goes out
// of scope or when the test program dies. To be made before this process has threads.
class ChildProcess {
  public:
    // The child's exit status is what `work` returns.
    explicit ChildProcess(const std::function<int()>& work);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return mPid; }
    // Waits for the end, which endWith() asks for: the exit status, or 128 and the signal.
    int endWith(int signal);
    int wait();
    // Whether its open descriptors come to `count` within a few seconds.
    bool descriptorsSettleAt(size_t count) const;

  private:
    pid_t mPid;
    bool mEnded = false;
};

}  // namespace support
