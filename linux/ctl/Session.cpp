#include "Session.h"

#include <cstdlib>

#include "Device.h"
#include "Text.h"

namespace lumctl {
namespace {

// What a service sends is its own affair: an odd byte must not end the command.
std::string lineOf(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace

void Session::enterDevice() const {
    if (!root.empty()) {
        useDeviceRoot(root);
    } else if (const char* inherited = std::getenv("ANDROID_DEVICE_ROOT")) {
        useDeviceRoot(inherited);
    }
}

Client Session::connect() const {
    enterDevice();
    return Client(instance);
}

std::string outputOf(const Session& session, const Report& report) {
    return session.json ? lineOf(report.json) : report.text;
}

std::string errorLine(const std::string& sentence) {
    return "lumctl: " + printable(sentence) + "\n";
}

std::string errorOutput(const Session& session, int status, const std::string& sentence) {
    return session.json ? lineOf({{"error", sentence}, {"status", status}}) : "";
}

}  // namespace lumctl
