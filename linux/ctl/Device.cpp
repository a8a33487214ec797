#include "Device.h"

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>
#include <android/binder_manager.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Text.h"
#include "linux/platform/binder/Attempt.h"
#include "linux/platform/binder/Wire.h"

namespace lumctl {
namespace {

using ::aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;

constexpr char kRootVariable[] = "ANDROID_DEVICE_ROOT";
constexpr char kEndpoints[] = "/dev/socket/binder";
constexpr char kService[] = "vendor.tav.lumvndhal_aidl-service";
constexpr char kLauncher[] = "lumvndhal-root";

const char* rootName() {
    const char* root = std::getenv(kRootVariable);
    return root == nullptr ? "" : root;
}

std::string realPath(const std::string& path) {
    const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.c_str(), nullptr), std::free);
    return real == nullptr ? "" : real.get();
}

bool isDirectory(const std::string& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Something of this project by its place beside lumctl, which is the same in a build and in an
// installation; empty where it is not there.
std::string besideLumctl(const std::string& place) {
    const std::string self = realPath("/proc/self/exe");
    return realPath(self.substr(0, self.rfind('/') + 1) + place);
}

std::string program(const std::string& name) {
    const std::string path = besideLumctl(name);
    return path.empty() ? name : path;
}

// A command that can be typed as it stands.
std::string howToStart(const std::string& instance) {
    const std::string root = rootName();
    if (root.empty()) return "name the device root that it runs in with --root DIR";
    const bool isDefault = instance == "default";
    const std::string dev = besideLumctl("../../../dev");
    if (isDefault && !dev.empty() && root == besideLumctl("../../root")) {
        return "start it with " + dev + " service";
    }
    return "start it with " + program(kLauncher) + " --root " + inQuotes(root) + " -- " +
           program(kService) + (isDefault ? "" : " --instance " + inQuotes(instance));
}

std::string endpointOf(const std::string& instance) {
    std::string file = serviceName(instance);
    std::replace(file.begin(), file.end(), '/', ':');
    return onDevice(std::string(kEndpoints) + "/" + file);
}

}  // namespace

std::string placeName() {
    return *rootName() == '\0' ? "this device" : "the device root " + inQuotes(rootName());
}

std::string onDevice(const std::string& path) {
    return rootName() + path;
}

void useDeviceRoot(const std::string& directory) {
    const std::string path = realPath(directory);
    if (path.empty()) {
        throw Failure(kUsage, "there is no device root " + inQuotes(directory) + " (" +
                                      std::strerror(errno) + "): name an existing one");
    }
    if (!isDirectory(path + kEndpoints)) {
        throw Failure(kUsage, inQuotes(directory) + " is no device root: it has no " +
                                      (kEndpoints + 1) + "; " + program(kLauncher) +
                                      " --sample --new DIR makes one");
    }
    ::setenv(kRootVariable, path.c_str(), 1);
}

std::string serviceName(const std::string& instance) {
    return std::string(ILumvndhal::descriptor) + "/" + instance;
}

std::optional<Absence> absenceOf(const std::string& instance) {
    using ::standin::Attempt;
    std::unique_ptr<::standin::Connection> connection;
    ::standin::Generation generation;
    const Attempt attempt = ::standin::connectToService(endpointOf(instance), ::standin::kPatience,
                                                        &connection, &generation);
    if (attempt == Attempt::kAdmitted) return std::nullopt;
    if (attempt == Attempt::kFailed) return Absence::kNotAdmitting;
    if (attempt == Attempt::kTurnedAway) return Absence::kBusy;
    if (attempt == Attempt::kUnanswered) return Absence::kSilent;
    const bool hasSocket = AServiceManager_isDeclared(serviceName(instance).c_str());
    return hasSocket ? Absence::kLeftBehind : Absence::kNotThere;
}

std::string stateOf(Absence absence) {
    switch (absence) {
        case Absence::kNotThere:
            return "is not running";
        case Absence::kLeftBehind:
            return "was killed";
        case Absence::kNotAdmitting:
            return "does not admit you";
        case Absence::kBusy:
            return "has too many callers";
        case Absence::kSilent:
            break;
    }
    return "does not answer";
}

Failure noService(const std::string& instance) {
    const Absence absence = absenceOf(instance).value_or(Absence::kBusy);
    std::string advice = howToStart(instance);
    if (absence == Absence::kNotAdmitting) {
        advice = "become a user who may write to " + inQuotes(endpointOf(instance));
    }
    if (absence == Absence::kBusy) advice = "try again when it has fewer";
    if (absence == Absence::kSilent) advice = "see whether its process is stopped";
    return {kNotReached, "the service " + inQuotes(instance) + " in " + placeName() + " " +
                                 stateOf(absence) + ": " + advice};
}

std::optional<uint64_t> freeBytesAt(const std::string& path) {
    struct statvfs disk = {};
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    if (::statvfs(onDevice(kDropbox + folder).c_str(), &disk) != 0) return std::nullopt;
    return uint64_t{disk.f_bavail} * disk.f_frsize;
}

bool isSeenAsFile(const std::string& path) {
    struct stat status = {};
    return ::lstat(onDevice(kDropbox + path).c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

}  // namespace lumctl
