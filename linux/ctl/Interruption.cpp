#include "Interruption.h"

#include <unistd.h>

#include <csignal>

namespace lumctl {
namespace {

// Written before a handler is in place, and left alone until none is.
Interruption& current() {
    static Interruption& one = *new Interruption;
    return one;
}

void write(int fd, const std::string& text) {
    static_cast<void>(!::write(fd, text.data(), text.size()));
}

// Where the process was told to ignore the signal, it stays ignored.
void handle(void (*handler)(int)) {
    struct sigaction action = {};
    if (::sigaction(SIGINT, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) return;
    action.sa_handler = handler;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    ::sigaction(SIGINT, &action, nullptr);
}

void sayAndEnd(int signal) {
    write(STDERR_FILENO, current().toStandardError);
    write(STDOUT_FILENO, current().toStandardOutput);
    ::raise(signal);
}

}  // namespace

InterruptionNotice::InterruptionNotice(const Interruption& interruption) {
    current() = interruption;
    handle(sayAndEnd);
}

InterruptionNotice::~InterruptionNotice() {
    handle(SIG_DFL);
}

}  // namespace lumctl
