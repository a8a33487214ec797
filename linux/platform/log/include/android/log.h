// The log as Android's <android/log.h> of API level 30 and later declares it: the part that this
// system uses, for C++ only.
//
// Every function may be called from any thread at any time, but not from a signal handler. None
// throws, and each leaves errno as it was. Texts belong to the caller and are not kept.
#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

extern "C" {

enum android_LogPriority {
    ANDROID_LOG_UNKNOWN = 0,
    ANDROID_LOG_DEFAULT,  // as a minimum: "nothing was chosen"
    ANDROID_LOG_VERBOSE,
    ANDROID_LOG_DEBUG,
    ANDROID_LOG_INFO,
    ANDROID_LOG_WARN,
    ANDROID_LOG_ERROR,
    ANDROID_LOG_FATAL,
    ANDROID_LOG_SILENT,  // as a minimum: nothing at all
};

// The log buffers of a device. Here all lines go the same way.
enum log_id {
    LOG_ID_MIN = 0,
    LOG_ID_MAIN = 0,
    LOG_ID_RADIO = 1,
    LOG_ID_EVENTS = 2,
    LOG_ID_SYSTEM = 3,
    LOG_ID_CRASH = 4,
    LOG_ID_STATS = 5,
    LOG_ID_SECURITY = 6,
    LOG_ID_KERNEL = 7,
    LOG_ID_MAX,
    LOG_ID_DEFAULT = 0x7FFFFFFF
};
using log_id_t = log_id;

// One message on its way to a logger. Valid during the logger's call only.
struct __android_log_message {
    size_t struct_size;   // sizeof(__android_log_message)
    int32_t buffer_id;    // a log_id
    int32_t priority;     // an android_LogPriority
    const char* tag;      // null only before the message is handed over: the program's name
    const char* file;     // null when not known
    uint32_t line;        // 0 when not known
    const char* message;  // not null; a newline at its end is still there
};

// Takes one message. Called on the thread that logs, by several threads at the same time.
using __android_logger_function = void (*)(const __android_log_message* log_message);

// Logs `text` in full, whatever its length. A null tag stands for the program's name.
// Returns 1, or -EPERM when __android_log_is_loggable says no; then nothing else has been done.
int __android_log_write(int prio, const char* tag, const char* text);

// As __android_log_write with the formatted text, of which at most 1023 bytes are logged.
int __android_log_print(int prio, const char* tag, const char* fmt, ...)
        __attribute__((__format__(printf, 3, 4)));
int __android_log_vprint(int prio, const char* tag, const char* fmt, va_list ap)
        __attribute__((__format__(printf, 3, 0)));

// Hands a message to the logger without asking __android_log_is_loggable first. A null tag is
// replaced in the caller's own message.
void __android_log_write_log_message(__android_log_message* log_message);

// Sends all later messages to `logger` (not null). A thread that is logging at this very moment may
// still call the one before.
void __android_log_set_logger(__android_logger_function logger);

// The logger that a process starts with. Each line of the message becomes a line "I/tag     ( 123):
// text" on standard error; lines of several threads never mix. A message that takes up to 4096
// bytes there is one write. It waits for a slow reader; a process whose reader
// may go away ignores SIGPIPE. What ANDROID_LOG_TAGS forbids is not written.
void __android_log_stderr_logger(const __android_log_message* log_message);

// Lets only messages of `priority` and above pass, whatever their tag. ANDROID_LOG_DEFAULT goes
// back to the start: ANDROID_LOG_TAGS decides, and ANDROID_LOG_INFO where it says nothing about a
// tag. Returns what was set before.
//
// The environment variable ANDROID_LOG_TAGS is read once, at the first message. It lists rules as
// for logcat, such as "LUM:lumvndhal_aidl:d *:e"; of several rules for one tag the last holds.
int32_t __android_log_set_minimum_priority(int32_t priority);

// What was set last, ANDROID_LOG_DEFAULT at first.
int32_t __android_log_get_minimum_priority();

// 1 when a message of this priority and tag would be logged, else 0. Takes no lock and makes no
// system call. `default_prio` counts on a device only.
int __android_log_is_loggable(int prio, const char* tag, int default_prio);

}  // extern "C"
