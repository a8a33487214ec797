#include "ChildProcess.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "Files.h"

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

int ChildProcess::endWith(int signal) {
    ::kill(mPid, signal);
    return wait();
}

int ChildProcess::wait() {
    int status = 0;
    if (::waitpid(mPid, &status, 0) != mPid) std::abort();
    mEnded = true;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

bool ChildProcess::descriptorsSettleAt(size_t count) const {
    for (int i = 0; i < 500 && openDescriptors(mPid) != count; ++i) ::usleep(10000);
    return openDescriptors(mPid) == count;
}

}  // namespace support
