#pragma once

#include <android/log.h>

#include <ostream>
#include <string>
#include <vector>

namespace support {

struct LogLine {
    int priority;
    std::string text;
    bool operator==(const LogLine& b) const { return priority == b.priority && text == b.text; }
};

template <int priority>
LogLine line(std::string text) {
    return {priority, std::move(text)};
}
constexpr auto verbose = line<ANDROID_LOG_VERBOSE>;
constexpr auto debug = line<ANDROID_LOG_DEBUG>;
constexpr auto info = line<ANDROID_LOG_INFO>;
constexpr auto error = line<ANDROID_LOG_ERROR>;

using LogLines = std::vector<LogLine>;

inline std::ostream& operator<<(std::ostream& out, const LogLine& each) {
    return out << each.priority << " \"" << each.text << '"';
}

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
