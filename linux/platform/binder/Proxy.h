#pragma once

#include <standin/ThreadSafety.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Attempt.h"
#include "Binder.h"

namespace standin {

// Stands for the service behind one endpoint. A calling thread uses a connection of its own; as
// many are kept as calls were ever made at once. A proxy belongs to one generation of the service:
// when that ends the proxy is dead for good, even if a new service takes the endpoint over.
class Proxy final : public AIBinder {
  public:
    // Connects to the endpoint at `path`. Null when that did not succeed.
    static AIBinder* open(const std::string& path, Attempt* attempt);

    bool isRemote() const override { return true; }
    bool isAlive() const override { return mAlive.load(std::memory_order_acquire); }
    binder_status_t transact(transaction_code_t code, const AParcel& in, AParcel* out) override;
    binder_status_t linkToDeath(AIBinder_DeathRecipient* recipient, void* cookie) override;

  private:
    using ConnectionPtr = std::unique_ptr<Connection>;

    Proxy(const std::string& path, Generation generation)
        : AIBinder(nullptr), mPath(path), mGeneration(generation) {}
    void release() override;

    ConnectionPtr reconnect();
    // What reconnect() failed for: either way nothing was carried out.
    binder_status_t whyNotConnected() const {
        return isAlive() ? STATUS_WOULD_BLOCK : STATUS_DEAD_OBJECT;
    }
    bool replaceLost();
    bool borrowIdle(ConnectionPtr* connection);
    ConnectionPtr borrow();
    void giveBack(ConnectionPtr connection);
    bool startWatching();
    bool isWatched();
    void startWatcher(std::shared_ptr<Connection> connection) REQUIRES(mMutex);
    void watch(Connection* connection);

    const std::string mPath;
    const Generation mGeneration;
    std::atomic<bool> mAlive{true};

    std::mutex mMutex;
    std::condition_variable_any mGivenBack;
    std::vector<ConnectionPtr> mIdle GUARDED_BY(mMutex);
    size_t mBorrowed GUARDED_BY(mMutex) = 0;
    size_t mWaiting GUARDED_BY(mMutex) = 0;  // threads, for a connection that is given back
    // Read by the watching thread alone.
    std::shared_ptr<Connection> mWatched GUARDED_BY(mMutex);
};

}  // namespace standin
