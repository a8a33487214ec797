#include "Attempt.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>

namespace standin {
namespace {

// How long connect() and sends may wait for the peer; 0 for as long as it takes.
void limitSending(int socket, std::chrono::seconds time) {
    const timeval limit = {time.count(), 0};
    ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
}

// The greeting of a connection that has just been made.
Attempt readGreeting(Connection* connection, std::chrono::seconds patience,
                     Generation* generation) {
    if (!waitReadable(connection->fd(), Clock::now() + patience)) return Attempt::kUnanswered;
    if (!connection->receive()) return Attempt::kAbsent;
    if (connection->word() != STATUS_OK) return Attempt::kTurnedAway;
    const AParcel greeting(connection->payload(), connection->payloadSize());
    return greeting.takeValue(generation) == STATUS_OK ? Attempt::kAdmitted : Attempt::kAbsent;
}

}  // namespace

Attempt connectToService(const std::string& path, std::chrono::seconds patience,
                         std::unique_ptr<Connection>* connection, Generation* generation) {
    const int fd = connectToSocket(path, patience);
    if (fd < 0 && (errno == ECONNREFUSED || errno == ENOENT)) return Attempt::kAbsent;
    if (fd < 0) return errno == EAGAIN ? Attempt::kUnanswered : Attempt::kFailed;
    auto made = std::make_unique<Connection>(fd);
    const Attempt attempt = readGreeting(made.get(), patience, generation);
    if (attempt == Attempt::kAdmitted) *connection = std::move(made);
    return attempt;
}

int connectToSocket(const std::string& path, std::chrono::seconds patience) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::string shortPath = path;
    ndk::ScopedFileDescriptor file;
    if (path.size() >= sizeof(address.sun_path)) {
        file.set(::open(path.c_str(), O_PATH | O_CLOEXEC));
        if (file.get() < 0) return -1;
        shortPath = "/proc/self/fd/" + std::to_string(file.get());
    }
    shortPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
    ndk::ScopedFileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (socket.get() < 0) return -1;
    limitSending(socket.get(), patience);
    int result;
    do {
        result = ::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address));
    } while (result < 0 && errno == EINTR);
    if (result < 0) return -1;
    limitSending(socket.get(), std::chrono::seconds(0));
    return socket.release();
}

}  // namespace standin
