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

#include "Process.h"

namespace standin {
namespace {

constexpr timeval kReplyTime = {kPatience.count(), 0};
constexpr std::chrono::milliseconds kPause{20};
constexpr int kLockAttempts = kLockTime / kPause;

int64_t newLife() {
    int64_t life = 0;
    if (::getrandom(&life, sizeof(life), 0) != sizeof(life)) life = ::getpid();
    return life;
}

std::string fileNameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

// The folder of an endpoint, locked while the endpoint is made or removed, so that two processes
// never do so at once. Anybody who may read the folder can take the lock: it is not waited for
// without end, and `errno` is EWOULDBLOCK then.
ndk::ScopedFileDescriptor lockFolderOf(const std::string& path) {
    const std::string folder = path.substr(0, path.rfind('/'));
    ndk::ScopedFileDescriptor lock(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (int attempt = 0; lock.get() >= 0 && ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0;) {
        if (++attempt == kLockAttempts) lock.set(-1);
        std::this_thread::sleep_for(kPause);
        errno = EWOULDBLOCK;
    }
    return lock;
}

// EEXIST when a service lives at `path`, 0 when none does, or why that cannot be told. A process
// that was just killed may still take connections that it will never answer, so only who speaks
// first, as a service does, lives; or who does not get round to it within a second.
int occupationOf(const std::string& path) {
    const timeval patience = {kProbeTime.count(), 0};
    const ndk::ScopedFileDescriptor connection(connectTo(path, &patience));
    if (connection.get() < 0) {
        if (errno == EAGAIN) return EEXIST;
        return errno == ECONNREFUSED || errno == ENOENT ? 0 : errno;
    }
    ::setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    char first;
    const ssize_t spoken = ::recv(connection.get(), &first, 1, 0);
    return spoken > 0 || (spoken < 0 && errno == EAGAIN) ? EEXIST : 0;
}

ucred peerOf(int fd) {
    ucred peer = {};
    socklen_t size = sizeof(peer);
    static_cast<void>(::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size));
    return peer;
}

}  // namespace

Endpoint::Endpoint(std::string path, ndk::SpAIBinder binder)
    : mPath(std::move(path)), mBinder(std::move(binder)), mLife(newLife()) {}

Endpoint* Endpoint::open(const std::string& path, const ndk::SpAIBinder& binder, int* error) {
    std::unique_ptr<Endpoint> endpoint(new Endpoint(path, binder));
    *error = endpoint->listen();
    if (*error != 0) return nullptr;
    if (endpoint->startThread(runAdmission, endpoint.get())) return endpoint.release();
    endpoint->removeSocket();
    *error = EAGAIN;
    return nullptr;
}

int Endpoint::listen() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const ndk::ScopedFileDescriptor lock = lockFolderOf(mPath);
    if (lock.get() < 0) return errno;
    // By way of the folder's descriptor: the folder's own path may be too long for an address.
    const std::string path =
            "/proc/self/fd/" + std::to_string(lock.get()) + "/" + fileNameOf(mPath);
    if (path.size() >= sizeof(address.sun_path)) return ENAMETOOLONG;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (const int occupation = occupationOf(mPath)) return occupation;
    ::unlink(mPath.c_str());
    mListener.set(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    struct stat status = {};
    const bool made =
            mListener.get() >= 0 &&
            ::bind(mListener.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
            ::listen(mListener.get(), kBacklog) == 0 && ::stat(mPath.c_str(), &status) == 0;
    mInode = status.st_ino;
    return made ? 0 : errno;
}

// Leaves a successor's socket alone.
void Endpoint::removeSocket() const {
    const ndk::ScopedFileDescriptor lock = lockFolderOf(mPath);
    struct stat status = {};
    if (::stat(mPath.c_str(), &status) == 0 && status.st_ino == mInode) ::unlink(mPath.c_str());
}

bool Endpoint::startThread(void* (*function)(void*), void* argument) const {
    pthread_t thread;
    if (::pthread_create(&thread, nullptr, function, argument) != 0) return false;
    ::pthread_detach(thread);
    return true;
}

void* Endpoint::runAdmission(void* endpoint) {
    static_cast<Endpoint*>(endpoint)->admitCallers();
    return nullptr;
}

void Endpoint::admitCallers() {
    for (;;) {
        const int fd = ::accept4(mListener.get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0) {
            admit(fd);
        } else if (isClosing()) {
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            // Descriptors or memory lack, until callers that leave free some.
            std::this_thread::sleep_for(kPause);
        }
    }
}

bool Endpoint::isClosing() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mClosing;
}

bool Endpoint::mayCome(const ucred& peer) const {
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
    const ucred peer = peerOf(fd);
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &kReplyTime, sizeof(kReplyTime));
    std::unique_lock<std::mutex> lock(mMutex);
    if (!mayCome(peer)) {
        lock.unlock();
        Connection(fd).send(STATUS_WOULD_BLOCK, nullptr);
        return;
    }
    mCallers.push_front({this, fd, peer});
    Caller* const caller = &mCallers.front();
    lock.unlock();
    if (startThread(runCaller, caller)) return;
    forget(caller);
    Connection(fd).send(STATUS_WOULD_BLOCK, nullptr);
}

void* Endpoint::runCaller(void* argument) {
    auto* caller = static_cast<Caller*>(argument);
    Endpoint* const endpoint = caller->endpoint;
    Connection connection(caller->fd);
    endpoint->serve(&connection);
    endpoint->forget(caller);
    return nullptr;
}

// Before the connection is closed: its descriptor may belong to somebody else afterwards.
void Endpoint::forget(const Caller* caller) {
    std::lock_guard<std::mutex> lock(mMutex);
    mCallers.remove_if([&](const Caller& each) { return &each == caller; });
    mForgotten.notify_all();
}

void Endpoint::serve(Connection* connection) const {
    AParcel reply;
    reply.putValue(mLife);
    binder_status_t status = STATUS_OK;
    while (connection->send(status, &reply) && connection->receive()) {
        reply.reset();
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
    std::unique_lock<std::mutex> lock(mMutex);
    mClosing = true;
    ::shutdown(mListener.get(), SHUT_RDWR);
    for (const Caller& caller : mCallers) ::shutdown(caller.fd, SHUT_RD);
    mForgotten.wait_for(lock, kPatience, [&] { return mCallers.empty(); });
}

}  // namespace standin
