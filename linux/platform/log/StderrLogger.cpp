#include <android/log.h>
#include <limits.h>
#include <poll.h>
#include <pthread.h>
#include <standin/ThreadSafety.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string_view>

#include "TagFilter.h"

namespace {

// Held while a message is written: a pipe takes a long message piece by piece, and a line of
// another thread must not come between.
std::mutex gOutputLock;

// A child must not inherit the lock, nor rules that are half read, from a thread that it does not
// have.
void prepareForFork() ACQUIRE(gOutputLock) {
    TagFilter::fromEnvironment();
    gOutputLock.lock();
}

void goOnAfterFork() RELEASE(gOutputLock) {
    gOutputLock.unlock();
}

[[maybe_unused]] const int gForkHandlers =
        ::pthread_atfork(prepareForFork, goOnAfterFork, goOnAfterFork);

void waitUntilWritable() {
    pollfd output = {STDERR_FILENO, POLLOUT, 0};
    ::poll(&output, 1, -1);
}

// Writes all of it, or as much as can be written: a failure has no place to be told.
void writeAll(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, bytes.data(), bytes.size());
        if (written > 0) {
            bytes.remove_prefix(static_cast<size_t>(written));
        } else if (written < 0 && errno == EAGAIN) {
            waitUntilWritable();  // a process that shares our standard error made it non-blocking
        } else if (written == 0 || errno != EINTR) {
            return;
        }
    }
}

// Gathers a message, so that it goes out in one write, without memory from the heap. PIPE_BUF is
// what a pipe takes whole even when other processes write to it.
class OutputBuffer {
  public:
    void append(std::string_view text) {
        while (!text.empty()) {
            if (mLength == sizeof(mBytes)) flush();
            const size_t count = std::min(text.size(), sizeof(mBytes) - mLength);
            memcpy(mBytes + mLength, text.data(), count);
            mLength += count;
            text.remove_prefix(count);
        }
    }

    void flush() {
        writeAll({mBytes, mLength});
        mLength = 0;
    }

  private:
    size_t mLength = 0;
    char mBytes[PIPE_BUF];
};

char letterOf(int32_t priority) {
    constexpr std::string_view kLetters = "??VDIWEFS";
    const bool known = priority >= 0 && static_cast<size_t>(priority) < kLetters.size();
    return known ? kLetters[static_cast<size_t>(priority)] : '?';
}

// One line in logcat's brief form; `process` is "(  123): ".
void appendLine(OutputBuffer& output, const __android_log_message& message,
                std::string_view process, std::string_view line) {
    constexpr std::string_view kPadding = "        ";  // a short tag is filled up to this
    const std::string_view tag = message.tag;
    const char start[] = {letterOf(message.priority), '/'};
    output.append({start, sizeof(start)});
    output.append(tag);
    output.append(kPadding.substr(std::min(tag.size(), kPadding.size())));
    output.append(process);
    output.append(line);
    output.append("\n");
}

}  // namespace

void __android_log_stderr_logger(const __android_log_message* log_message) {
    if (log_message->priority < TagFilter::fromEnvironment().minimumFor(log_message->tag)) return;

    char process[16];
    static_cast<void>(snprintf(process, sizeof(process), "(%5d): ", ::getpid()));
    std::string_view text = log_message->message;
    if (!text.empty() && text.back() == '\n') text.remove_suffix(1);  // it ends the line as it is

    const std::lock_guard<std::mutex> lock(gOutputLock);
    OutputBuffer output;
    size_t end = text.find('\n');
    while (end != std::string_view::npos) {
        appendLine(output, *log_message, process, text.substr(0, end));
        text.remove_prefix(end + 1);
        end = text.find('\n');
    }
    appendLine(output, *log_message, process, text);
    output.flush();
}
