#include "LogCapture.h"

#include <cstring>
#include <mutex>
#include <utility>

namespace support {
namespace {

constexpr char kTag[] = "LUM:lumvndhal_aidl";

std::mutex gMutex;
LogLines gLines;  // guarded by gMutex

void capture(const __android_log_message* message) {
    if (std::strcmp(message->tag, kTag) != 0) return __android_log_stderr_logger(message);
    const std::lock_guard<std::mutex> lock(gMutex);
    gLines.push_back({message->priority, message->message});
}

}  // namespace

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

}  // namespace support
