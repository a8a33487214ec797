#pragma once

#include <android/log.h>

#include <ostream>
#include <string>
#include <vector>

namespace support {

struct LogLine {
    int priority;
    std::string text;

    bool operator==(const LogLine& rhs) const {
        return priority == rhs.priority && text == rhs.text;
    }
};

inline LogLine verbose(std::string text) {
    return {ANDROID_LOG_VERBOSE, std::move(text)};
}
inline LogLine debug(std::string text) {
    return {ANDROID_LOG_DEBUG, std::move(text)};
}
inline LogLine info(std::string text) {
    return {ANDROID_LOG_INFO, std::move(text)};
}
inline LogLine error(std::string text) {
    return {ANDROID_LOG_ERROR, std::move(text)};
}

using LogLines = std::vector<LogLine>;

std::ostream& operator<<(std::ostream& out, const LogLine& line);

// Collects the service's lines, of every priority, while it lives. Lines of other tags go to
// standard error. One at a time.
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The lines since the last time.
    LogLines take();
};

}  // namespace support
