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
    // Sends the signal and waits for the end.
    void endWith(int signal);
    // Waits for the end: the exit status, or 128 and the signal that ended it.
    int wait();

  private:
    pid_t mPid;
    bool mEnded = false;
};

}  // namespace support
