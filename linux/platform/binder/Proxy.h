#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Binder.h"
#include "Connection.h"

namespace standin {

// Stands for the service behind one endpoint. A calling thread uses a connection of its own; as
// many are kept as calls were ever made at once. A proxy belongs to one life of the service: when
// that ends the proxy is dead for good, even if a new service takes the endpoint over.
class Proxy final : public AIBinder {
  public:
    // Connects to the endpoint at `path`. Null when nothing living is there.
    static AIBinder* open(const std::string& path);

    bool isRemote() const override { return true; }
    bool isAlive() const override { return mAlive.load(std::memory_order_acquire); }
    binder_status_t transact(transaction_code_t code, const AParcel& in, AParcel* out) override;
    binder_status_t linkToDeath(AIBinder_DeathRecipient* recipient, void* cookie) override;

  private:
    using ConnectionPtr = std::unique_ptr<Connection>;

    explicit Proxy(const std::string& path) : AIBinder(nullptr), mPath(path) {}
    void release() override;

    // What came of an attempt to connect. A service that has too many callers is not dead, and nor
    // is one that this process lacks a descriptor for.
    enum class Reached { kNobody, kNotNow, kService };

    Reached connect(ConnectionPtr* connection, int64_t* life) const;
    ConnectionPtr connectToSameLife();
    // What connectToSameLife() failed for.
    binder_status_t whyNotConnected() const {
        return isAlive() ? STATUS_WOULD_BLOCK : STATUS_DEAD_OBJECT;
    }
    ConnectionPtr borrow();
    void giveBack(ConnectionPtr connection);
    bool startWatching();
    void watch(Connection* connection);

    const std::string mPath;
    int64_t mLife = 0;  // which life of the service this proxy is for
    std::atomic<bool> mAlive{true};

    std::mutex mMutex;  // guards what follows
    std::condition_variable mGivenBack;
    std::vector<ConnectionPtr> mIdle;
    size_t mBorrowed = 0;
    std::shared_ptr<Connection> mWatched;  // read by the watching thread alone
};

}  // namespace standin
