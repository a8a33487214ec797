#include "Session.h"

#include <cstdio>
#include <cstdlib>

#include "Failure.h"

namespace lumctl {

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

void Session::print(const Report& report) const {
    // What a service sends is its own affair: an odd byte must not end the command.
    const std::string text =
            json ? report.json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n"
                 : report.text;
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (!written || std::fflush(stdout) != 0) {
        throw Failure(kNotReached,
                      "the call was made, but its result could not be written: look at "
                      "where standard output goes");
    }
}

}  // namespace lumctl
