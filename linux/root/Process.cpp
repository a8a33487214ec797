#include "Process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace launcher {
namespace {

sigset_t handledSignals() {
    sigset_t set;
    ::sigemptyset(&set);
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGCHLD}) ::sigaddset(&set, signal);
    return set;
}

std::string programPath() {
    char path[4096] = {};
    return ::readlink("/proc/self/exe", path, sizeof(path) - 1) < 0 ? "" : path;
}

// In the child. What the means says about itself goes to `notes`; the command gets the standard
// error back from inside.errors.
[[noreturn]] void enter(const Entrance& entrance, const Inside& inside, int notes) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(notes, STDERR_FILENO);
    for (const auto& [name, value] : entrance.variables) ::setenv(name.c_str(), value.c_str(), 1);
    std::vector<std::string> words = entrance.words;
    words.push_back(programPath());
    for (const auto& word : toArguments(inside)) words.push_back(word);
    execute(words);
    std::perror(words[0].c_str());
    ::_exit(kLauncherFailed);
}

int waitFor(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return kLauncherFailed;
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string firstLine(int file) {
    char text[512] = {};
    if (::pread(file, text, sizeof(text) - 1, 0) < 0) return "";
    text[std::strcspn(text, "\n")] = '\0';
    return text;
}

}  // namespace

void blockSignals() {
    const sigset_t set = handledSignals();
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    ::signal(SIGCHLD, SIG_DFL);
}

void unblockSignals() {
    const sigset_t set = handledSignals();
    ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

void execute(const std::vector<std::string>& words) {
    std::vector<char*> arguments(words.size() + 1);
    for (size_t i = 0; i < words.size(); ++i) arguments[i] = const_cast<char*>(words[i].c_str());
    ::execvp(arguments[0], arguments.data());
}

std::optional<Process> Process::start(const Entrance& entrance, Inside inside, std::string* why) {
    int ends[2];
    const int notes = ::memfd_create("notes", MFD_CLOEXEC);
    if (notes < 0 || ::pipe2(ends, 0) != 0) return std::nullopt;
    inside.report = ends[1];
    inside.errors = ::dup(STDERR_FILENO);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ends[0]);
        enter(entrance, inside, notes);
    }
    ::close(ends[1]);
    ::close(inside.errors);
    pid_t command = 0;
    const bool started = child > 0 && ::read(ends[0], &command, sizeof(command)) == sizeof(command);
    ::close(ends[0]);
    if (!started) {
        waitFor(child);
        *why = firstLine(notes);
    }
    ::close(notes);
    return started ? std::optional<Process>(Process(child, command)) : std::nullopt;
}

// What a terminal sends, it sends to the command as well.
int Process::await() const {
    const sigset_t set = handledSignals();
    for (;;) {
        siginfo_t info = {};
        const int signal = ::sigwaitinfo(&set, &info);
        if (signal == SIGCHLD) {
            siginfo_t ended = {};
            ::waitid(P_PID, static_cast<id_t>(mChild), &ended, WEXITED | WNOHANG | WNOWAIT);
            if (ended.si_pid == mChild) return waitFor(mChild);
        } else if (signal > 0 && info.si_code != SI_KERNEL) {
            ::kill(mCommand, signal);
        }
    }
}

}  // namespace launcher
