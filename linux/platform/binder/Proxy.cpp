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

AIBinder* Proxy::open(const std::string& path, Attempt* attempt) {
    ConnectionPtr connection;
    Generation generation = 0;
    *attempt = connectToService(path, kPatience, &connection, &generation);
    if (*attempt != Attempt::kAdmitted) return nullptr;
    auto* const proxy = new Proxy(path, generation);
    const std::lock_guard<std::mutex> lock(proxy->mMutex);
    proxy->mIdle.push_back(std::move(connection));
    return proxy;
}

void Proxy::release() {
    dropDeathLinks(this);
    const std::lock_guard<std::mutex> lock(mMutex);
    mIdle.clear();
    if (mWatched != nullptr) ::shutdown(mWatched->fd(), SHUT_RDWR);
}

// A further connection. Null when there is none now; and when the service is gone, or another one
// has taken its place, which is the proxy's end. A service that turns this process away is not
// dead, and nor is one that this process lacks a descriptor for.
Proxy::ConnectionPtr Proxy::reconnect() {
    if (!isAlive()) return nullptr;
    Generation generation = 0;
    ConnectionPtr connection;
    const Attempt attempt = connectToService(mPath, kPatience, &connection, &generation);
    if (attempt == Attempt::kAdmitted && generation == mGeneration) return connection;
    if (attempt == Attempt::kAdmitted || attempt == Attempt::kAbsent) {
        mAlive.store(false, std::memory_order_release);
    }
    return nullptr;
}

// An idle connection, or a new one.
Proxy::ConnectionPtr Proxy::borrow() {
    ConnectionPtr connection;
    if (borrowIdle(&connection)) return connection;
    connection = reconnect();
    if (connection == nullptr) giveBack(nullptr);
    return connection;
}

// False when no connection is idle; the caller may then make one of its own.
bool Proxy::borrowIdle(ConnectionPtr* connection) {
    const std::lock_guard<std::mutex> lock(mMutex);
    ++mWaiting;
    while (mBorrowed == kMaxConnections) mGivenBack.wait(mMutex);
    --mWaiting;
    ++mBorrowed;
    if (mIdle.empty()) return false;
    *connection = std::move(mIdle.back());
    mIdle.pop_back();
    return true;
}

// Takes a connection back, or null for one that was lost.
void Proxy::giveBack(ConnectionPtr connection) {
    if (connection != nullptr) connection->trim();
    const std::lock_guard<std::mutex> lock(mMutex);
    if (connection != nullptr) mIdle.push_back(std::move(connection));
    --mBorrowed;
    if (mWaiting != 0) mGivenBack.notify_one();
}

// Gives back a new connection for one that was lost. Whether that succeeded.
bool Proxy::replaceLost() {
    ConnectionPtr connection = reconnect();
    const bool replaced = connection != nullptr;
    giveBack(std::move(connection));
    return replaced;
}

binder_status_t Proxy::transact(transaction_code_t code, const AParcel& in, AParcel* out) {
    if (!isAlive()) return STATUS_DEAD_OBJECT;
    if (!fits(in)) return STATUS_FAILED_TRANSACTION;
    ConnectionPtr connection = borrow();
    if (connection == nullptr) return whyNotConnected();
    if (!connection->send(static_cast<int32_t>(code), &in)) {
        // The service acts on whole frames only: nothing was carried out.
        return replaceLost() ? STATUS_FAILED_TRANSACTION : whyNotConnected();
    }
    if (!connection->receive()) {
        // The service ended, or its reply was lost: the call may have been carried out.
        replaceLost();
        return STATUS_DEAD_OBJECT;
    }
    const binder_status_t status = takeReply(connection.get(), out);
    giveBack(std::move(connection));
    return status;
}

binder_status_t Proxy::linkToDeath(AIBinder_DeathRecipient* recipient, void* cookie) {
    const binder_status_t status = addDeathLink(this, recipient, cookie);
    if (status != STATUS_OK || startWatching()) return status;
    AIBinder_unlinkToDeath(this, recipient, cookie);
    return whyNotConnected();
}

bool Proxy::startWatching() {
    if (isWatched()) return true;
    ConnectionPtr connection = reconnect();
    if (connection == nullptr) return false;
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mWatched == nullptr) startWatcher(std::move(connection));
    return mWatched != nullptr;
}

bool Proxy::isWatched() {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mWatched != nullptr;
}

// The watching thread waits for the end of a connection that is used for nothing else. It holds no
// strong reference, so it keeps no proxy alive; release() ends it.
void Proxy::startWatcher(std::shared_ptr<Connection> connection) {
    incWeak();
    try {
        std::thread([this, connection] {
            watch(connection.get());
            decWeak();
        }).detach();
        mWatched = std::move(connection);
    } catch (const std::system_error&) {
        decWeak();
    }
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
