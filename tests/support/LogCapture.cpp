#include "LogCapture.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

namespace support {
namespace {

constexpr char kTag[] = "LUM:lumvndhal_aidl";

std::mutex gMutex;
LogLines gLines;  // guarded by gMutex
int gPipe = -1;

bool isOurs(const __android_log_message* message) {
    return message->tag != nullptr && std::strcmp(message->tag, kTag) == 0;
}

void capture(const __android_log_message* message) {
    if (!isOurs(message)) return __android_log_stderr_logger(message);
    const std::lock_guard<std::mutex> lock(gMutex);
    gLines.push_back({message->priority, message->message});
}

// One record per line: the priority as a digit, the text, a NUL.
void sendToPipe(const __android_log_message* message) {
    if (!isOurs(message)) return __android_log_stderr_logger(message);
    const std::string record = std::to_string(message->priority) + message->message;
    if (::write(gPipe, record.c_str(), record.size() + 1) < 0) std::abort();
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << line.priority << " \"" << line.text << '"';
}

LogCapture::LogCapture() {
    take();
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(capture);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(__android_log_stderr_logger);
}

LogLines LogCapture::take() {
    const std::lock_guard<std::mutex> lock(gMutex);
    return std::exchange(gLines, {});
}

LogPipe::LogPipe() {
    if (::pipe2(mEnds, O_CLOEXEC | O_NONBLOCK) != 0) std::abort();
}

LogPipe::~LogPipe() {
    ::close(mEnds[0]);
    ::close(mEnds[1]);
}

void LogPipe::sendFromHere() const {
    gPipe = mEnds[1];
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(sendToPipe);
}

LogLines LogPipe::take() const {
    std::string bytes;
    char some[4096];
    for (ssize_t n; (n = ::read(mEnds[0], some, sizeof(some))) > 0;) {
        bytes.append(some, static_cast<size_t>(n));
    }
    LogLines lines;
    for (size_t at = 0; at < bytes.size(); at = bytes.find('\0', at) + 1) {
        lines.push_back({bytes[at] - '0', bytes.c_str() + at + 1});
    }
    return lines;
}

}  // namespace support
