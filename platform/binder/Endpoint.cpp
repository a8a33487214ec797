#include "Endpoint.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <utility>

#include "Process.h"

namespace standin {
namespace {

constexpr int kBacklog = 128;
constexpr size_t kMaxCallers = 1024;
constexpr size_t kMaxCallersOfAProcess = 256;
constexpr timeval kReplyTime = {5, 0};  // for a caller to read its reply
constexpr std::chrono::seconds kClosingTime{5};
constexpr useconds_t kPauseWithoutDescriptors = 20 * 1000;

int64_t newLife() {
    int64_t life = 0;
    if (::getrandom(&life, sizeof(life), 0) != sizeof(life)) life = ::getpid();
    return life;
}

// Held while an endpoint is made or removed, so that two processes never do so at once.
ndk::ScopedFileDescriptor lockFolderOf(const std::string& path) {
    const std::string folder = path.substr(0, path.rfind('/'));
    ndk::ScopedFileDescriptor lock(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (lock.get() >= 0 && ::flock(lock.get(), LOCK_EX) != 0) lock.set(-1);
    return lock;
}

// A process that was just killed may still take connections that it will never answer: only who
// speaks first, as a service does, lives.
bool somebodyLivesAt(const std::string& path) {
    const int fd = connectTo(path);
    if (fd < 0) return errno != ECONNREFUSED && errno != ENOENT;
    const timeval patience = {1, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    const ndk::ScopedFileDescriptor connection(fd);
    char first;
    return ::recv(fd, &first, 1, 0) > 0 || errno == EAGAIN;
}

pid_t processOf(int fd) {
    ucred peer = {};
    socklen_t size = sizeof(peer);
    return ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
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
    if (mPath.size() >= sizeof(address.sun_path)) return ENAMETOOLONG;
    mPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const ndk::ScopedFileDescriptor lock = lockFolderOf(mPath);
    if (lock.get() < 0) return errno;
    if (::access(mPath.c_str(), F_OK) == 0 && somebodyLivesAt(mPath)) return EEXIST;
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
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            ::usleep(kPauseWithoutDescriptors);  // until callers that leave free some
        } else if (errno != EINTR && errno != ECONNABORTED) {
            return;  // close() ended it
        }
    }
}

bool Endpoint::mayCome(pid_t pid) const {
    const auto ofProcess = std::count_if(mCallers.begin(), mCallers.end(),
                                         [&](const Caller& caller) { return caller.pid == pid; });
    return !mClosing && mCallers.size() < kMaxCallers &&
           static_cast<size_t>(ofProcess) < kMaxCallersOfAProcess;
}

void Endpoint::admit(int fd) {
    const pid_t pid = processOf(fd);
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &kReplyTime, sizeof(kReplyTime));
    std::unique_lock<std::mutex> lock(mMutex);
    if (!mayCome(pid)) {
        lock.unlock();
        Connection(fd).send(STATUS_WOULD_BLOCK, nullptr);
        return;
    }
    mCallers.push_front({this, fd, pid});
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
    const CallPermit permit;
    if (!permit.granted()) return STATUS_DEAD_OBJECT;
    AParcel request(connection->payload(), connection->payloadSize());
    request.fds = connection->takeDescriptors();
    return mBinder.get()->transact(static_cast<transaction_code_t>(connection->word()), request,
                                   reply);
}

void Endpoint::close() {
    removeSocket();
    refuseFurtherCalls();
    ::shutdown(mListener.get(), SHUT_RDWR);
    std::unique_lock<std::mutex> lock(mMutex);
    mClosing = true;
    for (const Caller& caller : mCallers) ::shutdown(caller.fd, SHUT_RD);
    mForgotten.wait_for(lock, kClosingTime, [&] { return mCallers.empty(); });
}

}  // namespace standin
