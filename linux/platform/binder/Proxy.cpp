#include "Proxy.h"

#include <sys/socket.h>

#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

namespace standin {
namespace {

// Moves what the connection received into `out`, which outlives the connection's next frame.
binder_status_t takeReply(Connection* connection, AParcel* out) {
    out->fds = connection->takeDescriptors();
    const bool copied = out->assign(connection->payload(), connection->payloadSize());
    return copied ? connection->word() : STATUS_NO_MEMORY;
}

}  // namespace

AIBinder* Proxy::open(const std::string& path) {
    auto* proxy = new Proxy(path);
    ConnectionPtr connection;
    if (proxy->connect(&connection, &proxy->mLife) != Reached::kService) {
        proxy->decStrong();
        return nullptr;
    }
    proxy->mIdle.push_back(std::move(connection));
    return proxy;
}

void Proxy::release() {
    dropDeathLinks(this);
    std::lock_guard<std::mutex> lock(mMutex);
    mIdle.clear();
    if (mWatched != nullptr) ::shutdown(mWatched->fd(), SHUT_RDWR);
}

// The service speaks first: which life of it the connection leads to, or that it is full.
Proxy::Reached Proxy::connect(ConnectionPtr* connection, int64_t* life) const {
    const int fd = connectTo(mPath);
    if (fd < 0) {
        // Anything else, such as no descriptor left, says nothing about the service.
        const bool nobody = errno == ECONNREFUSED || errno == ENOENT;
        return nobody ? Reached::kNobody : Reached::kNotNow;
    }
    *connection = std::make_unique<Connection>(fd);
    if (!(*connection)->receive()) return Reached::kNobody;
    if ((*connection)->word() != STATUS_OK) return Reached::kNotNow;
    const AParcel hello((*connection)->payload(), (*connection)->payloadSize());
    return hello.takeValue(life) == STATUS_OK ? Reached::kService : Reached::kNobody;
}

// Null when there is no connection to be had now; and when the service is gone or another one by
// now, which is the proxy's end.
Proxy::ConnectionPtr Proxy::connectToSameLife() {
    if (!isAlive()) return nullptr;
    int64_t life = 0;
    ConnectionPtr connection;
    const Reached reached = connect(&connection, &life);
    if (reached == Reached::kNotNow) return nullptr;
    if (reached == Reached::kService && life == mLife) return connection;
    mAlive.store(false, std::memory_order_release);
    return nullptr;
}

Proxy::ConnectionPtr Proxy::borrow() {
    std::unique_lock<std::mutex> lock(mMutex);
    mGivenBack.wait(lock, [&] { return mBorrowed < kMaxConnections; });
    ++mBorrowed;
    if (mIdle.empty()) {
        lock.unlock();
        ConnectionPtr connection = connectToSameLife();
        if (connection == nullptr) giveBack(nullptr);
        return connection;
    }
    ConnectionPtr connection = std::move(mIdle.back());
    mIdle.pop_back();
    return connection;
}

// Takes a connection back, or null for one that was lost.
void Proxy::giveBack(ConnectionPtr connection) {
    if (connection != nullptr) connection->trim();
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (connection != nullptr) mIdle.push_back(std::move(connection));
        --mBorrowed;
    }
    mGivenBack.notify_one();
}

binder_status_t Proxy::transact(transaction_code_t code, const AParcel& in, AParcel* out) {
    if (!isAlive()) return STATUS_DEAD_OBJECT;
    if (!fits(in)) return STATUS_FAILED_TRANSACTION;
    ConnectionPtr connection = borrow();
    if (connection == nullptr) return whyNotConnected();
    if (connection->send(static_cast<int32_t>(code), &in) && connection->receive()) {
        const binder_status_t status = takeReply(connection.get(), out);
        giveBack(std::move(connection));
        return status;
    }
    // The connection is lost. Whether the service is, a new one tells.
    connection = connectToSameLife();
    const bool lives = connection != nullptr;
    giveBack(std::move(connection));
    return lives ? STATUS_FAILED_TRANSACTION : whyNotConnected();
}

binder_status_t Proxy::linkToDeath(AIBinder_DeathRecipient* recipient, void* cookie) {
    const binder_status_t status = addDeathLink(this, recipient, cookie);
    if (status != STATUS_OK || startWatching()) return status;
    AIBinder_unlinkToDeath(this, recipient, cookie);
    return whyNotConnected();
}

// The watching thread waits for the end of a connection that is used for nothing else. It holds no
// strong reference, so it keeps no proxy alive; release() ends it.
bool Proxy::startWatching() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mWatched != nullptr) return true;
    mWatched = connectToSameLife();
    if (mWatched == nullptr) return false;
    incWeak();
    try {
        std::thread([this, watched = mWatched] {
            watch(watched.get());
            decWeak();
        }).detach();
    } catch (const std::system_error&) {
        decWeak();
        mWatched = nullptr;
        return false;
    }
    return true;
}

void Proxy::watch(Connection* connection) {
    while (connection->receive()) {
    }
    if (!promote()) return;
    mAlive.store(false, std::memory_order_release);
    notifyDeath(this);
    decStrong();
}

}  // namespace standin
