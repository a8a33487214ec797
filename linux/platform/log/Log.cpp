#include <android/log.h>

#include <atomic>
#include <cerrno>
#include <cstdio>

#include "TagFilter.h"

namespace {

constexpr size_t kPrintSize = 1024;  // of a formatted message, its terminating NUL included

std::atomic<__android_logger_function> gLogger{__android_log_stderr_logger};
std::atomic<int32_t> gMinimum{ANDROID_LOG_DEFAULT};

// Callers look at errno after a failure they have just logged.
class ErrnoKeeper {
  public:
    ErrnoKeeper() : mErrno(errno) {}
    ~ErrnoKeeper() { errno = mErrno; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

  private:
    int mErrno;
};

const char* tagOrProgram(const char* tag) {
    return tag == nullptr ? program_invocation_short_name : tag;
}

// All that a suppressed line costs: one atomic load, and a look at the user's rules where the
// program has not chosen a minimum.
bool isLoggable(int priority, const char* tag) {
    int32_t minimum = gMinimum.load(std::memory_order_relaxed);
    if (minimum == ANDROID_LOG_DEFAULT) {
        minimum = TagFilter::fromEnvironment().minimumFor(tagOrProgram(tag));
    }
    if (minimum == ANDROID_LOG_DEFAULT) minimum = ANDROID_LOG_INFO;
    return priority >= minimum;
}

void deliver(int priority, const char* tag, const char* text) {
    __android_log_message message = {
            sizeof(message), LOG_ID_MAIN, priority, tag, nullptr, 0, text,
    };
    __android_log_write_log_message(&message);
}

}  // namespace

int __android_log_write(int prio, const char* tag, const char* text) {
    const ErrnoKeeper keeper;
    if (!isLoggable(prio, tag)) return -EPERM;
    deliver(prio, tag, text);
    return 1;
}

int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
    va_list arguments;
    va_start(arguments, fmt);
    const int result = __android_log_vprint(prio, tag, fmt, arguments);
    va_end(arguments);
    return result;
}

int __android_log_vprint(int prio, const char* tag, const char* fmt, va_list ap) {
    const ErrnoKeeper keeper;
    if (!isLoggable(prio, tag)) return -EPERM;
    char text[kPrintSize];
    if (vsnprintf(text, sizeof(text), fmt, ap) < 0) text[0] = '\0';
    deliver(prio, tag, text);
    return 1;
}

void __android_log_write_log_message(__android_log_message* log_message) {
    const ErrnoKeeper keeper;
    log_message->tag = tagOrProgram(log_message->tag);
    gLogger.load(std::memory_order_acquire)(log_message);
}

// Release and acquire: a logger sees what its owner prepared before setting it.
void __android_log_set_logger(__android_logger_function logger) {
    gLogger.store(logger, std::memory_order_release);
}

int32_t __android_log_set_minimum_priority(int32_t priority) {
    return gMinimum.exchange(priority, std::memory_order_relaxed);
}

int32_t __android_log_get_minimum_priority() {
    return gMinimum.load(std::memory_order_relaxed);
}

int __android_log_is_loggable(int prio, const char* tag, int /*default_prio*/) {
    const ErrnoKeeper keeper;
    return isLoggable(prio, tag) ? 1 : 0;
}
