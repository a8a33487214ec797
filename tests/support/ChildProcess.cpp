#include "ChildProcess.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace support {

ChildProcess::ChildProcess(const std::function<int()>& work) : mPid(::fork()) {
    if (mPid < 0) std::abort();
    if (mPid != 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::_exit(work());
}

ChildProcess::~ChildProcess() {
    if (!mEnded) endWith(SIGKILL);
}

void ChildProcess::endWith(int signal) {
    ::kill(mPid, signal);
    wait();
}

int ChildProcess::wait() {
    int status = 0;
    while (::waitpid(mPid, &status, 0) < 0) {
        if (errno != EINTR) std::abort();
    }
    mEnded = true;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace support
