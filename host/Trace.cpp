#include "Trace.h"

#include <aidl/vendor/tav/lumvndhal_aidl/BnLumvndhal.h>
#include <android/log.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>

using aidl::vendor::tav::lumvndhal_aidl::BnLumvndhal;

namespace {

constexpr char kLogTag[] = "LUM:calls";
constexpr size_t kMaxShown = 100;

std::string timeOfDay() {
    using namespace std::chrono;
    const auto now = system_clock::now();
    const time_t seconds = system_clock::to_time_t(now);
    const auto millis = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
    tm parts = {};
    ::localtime_r(&seconds, &parts);
    char text[32];
    const size_t length = std::strftime(text, sizeof(text), "%H:%M:%S", &parts);
    std::snprintf(text + length, sizeof(text) - length, ".%03d", static_cast<int>(millis));
    return text;
}

// A client may have sent anything: the line stays one line, and whole characters of UTF-8.
std::string shown(std::string text) {
    const size_t size = text.size();
    if (size > kMaxShown) {
        size_t end = kMaxShown;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80) --end;
        text = text.substr(0, end) + "... (" + std::to_string(size) + " bytes)";
    }
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7f; };
    std::replace_if(text.begin(), text.end(), isControl, '.');
    return text;
}

// The array comes as a list of numbers, "[1, 2]".
std::string countOfBytes(const std::string& list) {
    const auto commas = std::count(list.begin(), list.end(), ',');
    return std::to_string(list == "[]" ? 0 : commas + 1) + " bytes";
}

// The names begin with their direction, as in "in_path".
std::string describe(const std::pair<std::string, std::string>& argument) {
    const auto& [name, text] = argument;
    return name.substr(name.find('_') + 1) + "=" +
           (name == "in_data" ? countOfBytes(text) : shown(text));
}

std::string describe(const BnLumvndhal::TransactionLog& call) {
    std::string line = timeOfDay() + " " + call.method_name + "(";
    const char* separator = "";
    for (const auto& argument : call.input_args) {
        line += separator + describe(argument);
        separator = ", ";
    }
    line += call.exception_code == 0
                    ? ") = " + call.result
                    : ") failed with exception " + std::to_string(call.exception_code);
    for (const auto& argument : call.output_args) line += ", " + describe(argument);
    char duration[32];
    std::snprintf(duration, sizeof(duration), ", %.2f ms", call.duration_ms);
    return line + duration;
}

}  // namespace

void traceCalls() {
    BnLumvndhal::logFunc = [](const BnLumvndhal::TransactionLog& call) {
        __android_log_write(ANDROID_LOG_INFO, kLogTag, describe(call).c_str());
    };
}
