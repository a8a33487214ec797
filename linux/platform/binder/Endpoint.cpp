#include "Endpoint.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <thread>
#include <utility>

#include "Attempt.h"
#include "Process.h"

namespace standin {
namespace {

constexpr timeval kReplyTime = {kPatience.count(), 0};
constexpr std::chrono::milliseconds kPause{20};
constexpr int kLockAttempts = kLockTime / kPause;

Generation newGeneration() {
    Generation generation = 0;
    if (::getrandom(&generation, sizeof(generation), 0) != sizeof(generation)) {
        generation = ::getpid();
    }
    return generation;
}

std::string fileNameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

// The directory of an endpoint, locked while the endpoint is made or removed, so that two processes
// never do so at once. Anybody who may read the directory can take the lock: it is not waited for
// without end, and `errno` is EWOULDBLOCK then.
ndk::ScopedFileDescriptor lockDirectoryOf(const std::string& path) {
    const std::string directory = path.substr(0, path.rfind('/'));
    ndk::ScopedFileDescriptor lock(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (int attempt = 0; lock.get() >= 0 && ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0;) {
        if (++attempt == kLockAttempts) lock.set(-1);
        std::this_thread::sleep_for(kPause);
        errno = EWOULDBLOCK;
    }
    return lock;
}

// 0 when no service lives at `path`, EEXIST when one does, or why that cannot be told. A process
// that was just killed may still take connections that it will never answer: it shows by ending
// them. One that neither speaks nor ends lives.
int probe(const std::string& path) {
    std::unique_ptr<Connection> connection;
    Generation generation = 0;
    switch (connectToService(path, kProbeTime, &connection, &generation)) {
        case Attempt::kAbsent:
            return 0;
        case Attempt::kFailed:
            return errno;
        default:
            return EEXIST;
    }
}

// Detached from its start: sanitizers do not notice when a thread is detached later.
bool startThread(void* (*function)(void*), void* argument) {
    pthread_attr_t detached;
    ::pthread_attr_init(&detached);
    ::pthread_attr_setdetachstate(&detached, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const bool started = ::pthread_create(&thread, &detached, function, argument) == 0;
    ::pthread_attr_destroy(&detached);
    return started;
}

void turnAway(int fd) {
    Connection(fd).send(STATUS_WOULD_BLOCK, nullptr);
}

ucred peerOf(int fd) {
    ucred peer = {};
    socklen_t size = sizeof(peer);
    static_cast<void>(::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size));
    return peer;
}

}  // namespace

Endpoint::Endpoint(std::string path, ndk::SpAIBinder binder)
    : mPath(std::move(path)), mBinder(std::move(binder)), mGeneration(newGeneration()) {}

Endpoint* Endpoint::open(const std::string& path, const ndk::SpAIBinder& binder, int* error) {
    std::unique_ptr<Endpoint> endpoint(new Endpoint(path, binder));
    *error = endpoint->listen();
    if (*error != 0) return nullptr;
    if (startThread(runAcceptance, endpoint.get())) return endpoint.release();
    endpoint->removeSocket();
    *error = EAGAIN;
    return nullptr;
}

int Endpoint::listen() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const ndk::ScopedFileDescriptor lock = lockDirectoryOf(mPath);
    if (lock.get() < 0) return errno;
    // By way of the directory's descriptor: its own path may be too long for an address.
    const std::string path =
            "/proc/self/fd/" + std::to_string(lock.get()) + "/" + fileNameOf(mPath);
    if (path.size() >= sizeof(address.sun_path)) return ENAMETOOLONG;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (const int error = probe(mPath)) return error;
    ::unlink(mPath.c_str());
    mListener.set(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    struct stat status = {};
    const bool made =
            mListener.get() >= 0 &&
            ::bind(mListener.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
            ::listen(mListener.get(), kBacklog) == 0 && ::stat(mPath.c_str(), &status) == 0;
    mInode = status.st_ino;
    return made && hasReserve() ? 0 : errno;
}

// Leaves a successor's socket alone.
void Endpoint::removeSocket() const {
    const ndk::ScopedFileDescriptor lock = lockDirectoryOf(mPath);
    struct stat status = {};
    if (::stat(mPath.c_str(), &status) == 0 && status.st_ino == mInode) ::unlink(mPath.c_str());
}

void* Endpoint::runAcceptance(void* endpoint) {
    static_cast<Endpoint*>(endpoint)->acceptCallers();
    return nullptr;
}

void Endpoint::acceptCallers() {
    while (!mClosing) {
        const int fd = ::accept4(mListener.get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0) {
            hasReserve() ? admit(fd) : turnAway(fd);
        } else if (errno == EMFILE && mReserve.get() >= 0) {
            mReserve.set(-1);
        } else if (errno != EINTR && errno != ECONNABORTED) {
            // Descriptors or memory lack, until callers that leave free some.
            std::this_thread::sleep_for(kPause);
            static_cast<void>(hasReserve());
        }
    }
}

// Whether a descriptor is left over. It is given up to accept a caller for whom there is no other:
// that one is turned away, and does not wait for a greeting in vain.
bool Endpoint::hasReserve() {
    if (mReserve.get() < 0) mReserve.set(::open("/", O_PATH | O_CLOEXEC));
    return mReserve.get() >= 0;
}

bool Endpoint::admits(const ucred& peer) const {
    size_t ofProcess = 0;
    size_t ofUser = 0;
    for (const Caller& caller : mCallers) {
        if (caller.peer.pid == peer.pid) ++ofProcess;
        if (caller.peer.uid == peer.uid) ++ofUser;
    }
    return !mClosing && mCallers.size() < kMaxCallers && ofProcess < kMaxCallersOfAProcess &&
           ofUser < kMaxCallersOfAUser;
}

void Endpoint::admit(int fd) {
    Caller* const caller = add(fd);
    if (caller != nullptr && startThread(runCaller, caller)) return;
    if (caller != nullptr) remove(caller);
    turnAway(fd);
}

// Null when the caller is not admitted.
Endpoint::Caller* Endpoint::add(int fd) {
    const ucred peer = peerOf(fd);
    const std::lock_guard<std::mutex> lock(mMutex);
    if (!admits(peer)) return nullptr;
    mCallers.push_front({this, fd, peer});
    return &mCallers.front();
}

void* Endpoint::runCaller(void* argument) {
    auto* caller = static_cast<Caller*>(argument);
    Endpoint* const endpoint = caller->endpoint;
    Connection connection(caller->fd);
    ::setsockopt(caller->fd, SOL_SOCKET, SO_SNDTIMEO, &kReplyTime, sizeof(kReplyTime));
    endpoint->serve(&connection);
    endpoint->remove(caller);
    return nullptr;
}

// Before the connection is closed: its descriptor may belong to another caller afterwards.
void Endpoint::remove(const Caller* caller) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mCallers.remove_if([&](const Caller& each) { return &each == caller; });
    mRemoved.notify_all();
}

void Endpoint::serve(Connection* connection) const {
    AParcel reply;
    reply.putValue(mGeneration);
    binder_status_t status = STATUS_OK;
    while (connection->send(status, &reply)) {
        reply.reset();  // a caller that is idle keeps no descriptor open here
        if (!connection->receive()) return;
        status = answer(connection, &reply);
        if (status == STATUS_OK && !fits(reply)) status = STATUS_FAILED_TRANSACTION;
        if (status != STATUS_OK) reply.reset();
        connection->trim();
    }
}

binder_status_t Endpoint::answer(Connection* connection, AParcel* reply) const {
    // Outlives the permit: the last close of a descriptor can take as long as its sender likes.
    AParcel request(connection->payload(), connection->payloadSize());
    request.fds = connection->takeDescriptors();
    const CallPermit permit;
    if (!permit.granted()) return STATUS_DEAD_OBJECT;
    return mBinder.get()->transact(static_cast<transaction_code_t>(connection->word()), request,
                                   reply);
}

void Endpoint::close() {
    removeSocket();
    refuseFurtherCalls();
    const auto deadline = Clock::now() + kPatience;
    const std::lock_guard<std::mutex> lock(mMutex);
    mClosing = true;
    ::shutdown(mListener.get(), SHUT_RDWR);
    for (const Caller& caller : mCallers) ::shutdown(caller.fd, SHUT_RD);
    while (!mCallers.empty() && Clock::now() < deadline) mRemoved.wait_until(mMutex, deadline);
}

}  // namespace standin
