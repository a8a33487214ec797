#include "Client.h"

#include <android/binder_manager.h>

#include "Device.h"
#include "Failure.h"
#include "Text.h"

namespace lumctl {
Client::Client(const std::string& instance)
    : mInstance(instance), mBinder(AServiceManager_checkService(serviceName(instance).c_str())) {
    if (mBinder.get() == nullptr) throw noService(instance);
    mService = ILumvndhal::fromBinder(mBinder);
    if (mService == nullptr) {
        // A service that died before it could say what it is has not said that it is another one.
        ping();
        throw Failure(kNotReached, "what runs as " + inQuotes(instance) + " in " + placeName() +
                                           " is not of the interface " + ILumvndhal::descriptor +
                                           ": name another one with --instance");
    }
}

// The status of a dead service is also that of a reply that was lost; the proxy has found out by
// now which of the two it was.
Failure Client::notAnswered() const {
    const bool lives = AIBinder_isAlive(mBinder.get());
    return {kNotReached,
            "the service " + inQuotes(mInstance) + " in " + placeName() +
                    (lives ? " lives, but its reply was lost, and it may have carried out the call"
                             ": see what it did, then repeat the command if need be"
                           : " died during the call, which it may have carried out: start it "
                             "again, see what it did, then repeat the command if need be")};
}

void Client::expectDelivered(const ::ndk::ScopedAStatus& status) const {
    if (status.isOk()) return;
    if (status.getStatus() == STATUS_DEAD_OBJECT) throw notAnswered();
    const char* const hint =
            status.getStatus() == STATUS_BAD_VALUE
                    ? "a text of the reply ends in half a character: look at the device's own files"
                    : "try again, and look at the service's log";
    throw Failure(kNotReached, "the call to the service " + inQuotes(mInstance) + " in " +
                                       placeName() + " did not get through (" +
                                       printable(status.getDescription()) + "): " + hint);
}

void Client::ping() {
    expectDelivered(::ndk::ScopedAStatus::fromStatus(AIBinder_ping(mBinder.get())));
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

// Making "x/." finds the directory x there, or no directory to make it in.
bool Client::isDirectory(const std::string& path) {
    return updateDropbox(path + "/.", true) == 0;
}

bool Client::writeFile(const std::string& path, const std::vector<uint8_t>& data, int32_t length) {
    bool written = false;
    expectDelivered(mService->write_data_to_vendor_dropbox(path, data, length, &written));
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
