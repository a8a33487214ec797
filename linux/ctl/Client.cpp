#include "Client.h"

#include <android/binder_manager.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Failure.h"
#include "Text.h"

namespace lumctl {
namespace {

constexpr char kRootVariable[] = "ANDROID_DEVICE_ROOT";
constexpr char kEndpoints[] = "/dev/socket/binder";

std::string serviceName(const std::string& instance) {
    return std::string(ILumvndhal::descriptor) + "/" + instance;
}

const char* rootName() {
    const char* root = std::getenv(kRootVariable);
    return root == nullptr ? "" : root;
}

std::string howToStart(const std::string& instance) {
    if (*rootName() == '\0') return "name the device root that it runs in with --root";
    return "start it with linux/root/run --root " + inQuotes(rootName()) +
           " -- vendor.tav.lumvndhal_aidl-service" +
           (instance == "default" ? "" : " --instance " + inQuotes(instance)) +
           ", or with ./dev service in the root of ./dev ctl";
}

Failure noService(const std::string& instance) {
    const bool declared = AServiceManager_isDeclared(serviceName(instance).c_str());
    const std::string what = declared ? " does not answer (it was killed, or does not admit you): "
                                      : " is not running: ";
    return {kNotReached, "the service " + inQuotes(instance) + " in " + placeName() + what +
                                 howToStart(instance)};
}

bool isDirectory(const std::string& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::string placeName() {
    return *rootName() == '\0' ? "this device" : "the device root " + inQuotes(rootName());
}

std::string onDevice(const std::string& path) {
    return rootName() + path;
}

void useDeviceRoot(const std::string& directory) {
    const std::unique_ptr<char, void (*)(void*)> path(::realpath(directory.c_str(), nullptr),
                                                      std::free);
    if (path == nullptr) {
        throw Failure(kUsage, "there is no device root " + inQuotes(directory) + " (" +
                                      std::strerror(errno) + "): name an existing one");
    }
    if (!isDirectory(std::string(path.get()) + kEndpoints)) {
        throw Failure(kUsage, inQuotes(directory) + " is no device root: it has no " +
                                      (kEndpoints + 1) + "; linux/root/new-root makes one");
    }
    ::setenv(kRootVariable, path.get(), 1);
}

Client::Client(const std::string& instance) : mInstance(instance) {
    const ::ndk::SpAIBinder binder(AServiceManager_checkService(serviceName(instance).c_str()));
    if (binder.get() == nullptr) throw noService(instance);
    mService = ILumvndhal::fromBinder(binder);
    if (mService == nullptr) {
        // A service that died before it could say what it is has not said that it is another one.
        expectDelivered(::ndk::ScopedAStatus::fromStatus(AIBinder_ping(binder.get())));
        throw Failure(kNotReached, "what runs as " + inQuotes(instance) + " in " + placeName() +
                                           " is not of the interface " + ILumvndhal::descriptor +
                                           ": name another one with --instance");
    }
}

void Client::expectDelivered(const ::ndk::ScopedAStatus& status) const {
    if (status.isOk()) return;
    if (status.getStatus() == STATUS_DEAD_OBJECT) {
        throw Failure(kNotReached, "the service " + inQuotes(mInstance) + " in " + placeName() +
                                           " died during the call: start it again, then repeat "
                                           "the command");
    }
    const char* const hint =
            status.getStatus() == STATUS_BAD_VALUE
                    ? "a text of the reply ends in half a character: look at the device's own files"
                    : "try again, and look at the service's log";
    throw Failure(kNotReached, "the call to the service " + inQuotes(mInstance) + " in " +
                                       placeName() + " did not get through (" +
                                       printable(status.getDescription()) + "): " + hint);
}

void Client::ping() {
    expectDelivered(::ndk::ScopedAStatus::fromStatus(AIBinder_ping(mService->asBinder().get())));
}

int32_t Client::interfaceVersion() {
    int32_t version = 0;
    expectDelivered(mService->getInterfaceVersion(&version));
    return version;
}

std::string Client::interfaceHash() {
    std::string hash;
    expectDelivered(mService->getInterfaceHash(&hash));
    return hash;
}

int32_t Client::updateDropbox(const std::string& path, bool create) {
    int32_t result = 0;
    expectDelivered(mService->update_vendor_dropbox(path, create, &result));
    return result;
}

bool Client::writeFile(const std::string& path, const std::vector<uint8_t>& data) {
    bool written = false;
    expectDelivered(mService->write_data_to_vendor_dropbox(
            path, data, static_cast<int32_t>(data.size()), &written));
    return written;
}

bool Client::configure(const ByteQueueDescriptor& descriptor) {
    bool attached = false;
    expectDelivered(mService->configure(descriptor, &attached));
    return attached;
}

bool Client::requestRead(const std::string& path, int32_t count) {
    bool stored = false;
    expectDelivered(mService->request_read(path, count, &stored));
    return stored;
}

Answer Client::get(const std::string& command) {
    Answer answer;
    expectDelivered(mService->get_vnd_data(command, &answer.data, &answer.result));
    return answer;
}

int32_t Client::set(const std::string& command, const std::string& parameter) {
    int32_t result = 0;
    expectDelivered(mService->set_vnd_data(command, parameter, &result));
    return result;
}

}  // namespace lumctl
