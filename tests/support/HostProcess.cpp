#include "HostProcess.h"

#include <android/binder_manager.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <thread>

#include "Files.h"

namespace support {
namespace {

using aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;

// The program, behind the emulator that runs programs of this kind, if it takes one.
std::vector<std::string> commandLine(const std::vector<std::string>& options) {
    std::vector<std::string> command;
    std::istringstream emulator(EMULATOR);
    for (std::string word; emulator >> word;) command.push_back(word);
    command.emplace_back(BIN_DIR "/vendor.tav.lumvndhal_aidl-service");
    command.insert(command.end(), options.begin(), options.end());
    return command;
}

[[noreturn]] void run(std::vector<std::string> command, int errors) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(errors, STDERR_FILENO);
    std::vector<char*> arguments;
    for (auto& word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    ::execvp(arguments[0], arguments.data());
    std::perror(arguments[0]);
    ::_exit(127);
}

}  // namespace

HostProcess::HostProcess(const std::vector<std::string>& options)
    : mErrors(::memfd_create("errors", MFD_CLOEXEC)) {
    const std::vector<std::string> command = commandLine(options);
    mPid = ::fork();
    if (mPid < 0) std::abort();
    if (mPid == 0) run(command, mErrors);
}

HostProcess::~HostProcess() {
    if (mPid != 0) kill();
    ::close(mErrors);
}

std::string HostProcess::name(const std::string& instance) const {
    return std::string(ILumvndhal::descriptor) + "/" + instance;
}

std::shared_ptr<ILumvndhal> HostProcess::connect(const std::string& instance) const {
    const std::string wanted = name(instance);
    const ndk::SpAIBinder binder(AServiceManager_waitForService(wanted.c_str()));
    return ILumvndhal::fromBinder(binder);
}

int HostProcess::end(int signal) {
    ::kill(mPid, signal);
    return wait();
}

void HostProcess::kill() {
    end(SIGKILL);
}

int HostProcess::wait() {
    int status = 0;
    while (::waitpid(mPid, &status, 0) < 0) {
        if (errno != EINTR) std::abort();
    }
    mPid = 0;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string HostProcess::errors() const {
    return readFile("/proc/self/fd/" + std::to_string(mErrors));
}

bool HostProcess::settlesAt(size_t count) const {
    for (int i = 0; i < 300; ++i) {
        if (openDescriptors(mPid) == count) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

}  // namespace support
