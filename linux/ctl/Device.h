#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Failure.h"

// The device that the service runs on: a device root that was named, or where this process runs.

namespace lumctl {

constexpr char kDropbox[] = "/data/vendor/lum";

// For people: "the device root '/x'" or "this device".
std::string placeName();

// Where `path` of the device is for this process. File systems that are mounted for the service
// alone do not show there.
std::string onDevice(const std::string& path);

// Makes instances be looked for in the device root in `directory`. To be called before the first
// instance is looked for. Failure kUsage when it is no device root.
void useDeviceRoot(const std::string& directory);

// The name under which an instance is registered.
std::string serviceName(const std::string& instance);

// What is known of an instance that cannot be called.
enum class Absence {
    kNotThere,
    kLeftBehind,    // its process was killed, and its socket is still there
    kNotAdmitting,  // its socket is not for this user
    kBusy,
    kSilent,  // it takes a connection and says nothing: it is stopped, or overloaded
};
// Nothing when a connection to it can be had after all.
std::optional<Absence> absenceOf(const std::string& instance);
// "was killed".
std::string stateOf(Absence absence);
// The same as a failure that says what to do.
Failure noService(const std::string& instance);

// Free bytes where a file at `path` of the dropbox would be stored, and whether a file is there, as
// far as that can be seen from here.
std::optional<uint64_t> freeBytesAt(const std::string& path);
bool isSeenAsFile(const std::string& path);

}  // namespace lumctl
