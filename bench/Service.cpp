#include "Service.h"

#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "LumvndhalImpl.h"
#include "Measure.h"

namespace bench {

using aidl::vendor::tav::lumvndhal_aidl::LumvndhalImpl;

const std::string kInstance = std::string(ILumvndhal::descriptor) + "/default";

void serve(int core) {
    pinTo(core);
    quieten();
    const auto service = ndk::SharedRefBase::make<LumvndhalImpl>();
    if (AServiceManager_addService(service->asBinder().get(), kInstance.c_str()) != EX_NONE) return;
    ABinderProcess_startThreadPool();
    for (;;) ::pause();
}

std::shared_ptr<ILumvndhal> connect() {
    const ndk::SpAIBinder binder(AServiceManager_waitForService(kInstance.c_str()));
    return ILumvndhal::fromBinder(binder);
}

void quieten() {
    const int quiet = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(quiet, STDERR_FILENO);
    ::close(quiet);
}

void receiveAll(int socket, std::vector<char>* buffer, size_t size) {
    for (size_t done = 0; done < size;) {
        const ssize_t some = ::recv(socket, buffer->data() + done, size - done, 0);
        check(some > 0, "a socket");
        done += static_cast<size_t>(some);
    }
}

void sendAll(int socket, const std::vector<char>& buffer, size_t size) {
    for (size_t done = 0; done < size;) {
        const ssize_t some = ::send(socket, buffer.data() + done, size - done, MSG_NOSIGNAL);
        check(some > 0, "a socket");
        done += static_cast<size_t>(some);
    }
}

void echo(int socket, size_t requestSize, size_t replySize) {
    std::vector<char> buffer(std::max(requestSize, replySize));
    for (;;) {
        receiveAll(socket, &buffer, requestSize);
        sendAll(socket, buffer, replySize);
    }
}

void roundTrip(int socket, std::vector<char>* buffer, size_t requestSize, size_t replySize) {
    sendAll(socket, *buffer, requestSize);
    receiveAll(socket, buffer, replySize);
}

}  // namespace bench
