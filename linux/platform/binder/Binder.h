#pragma once

#include <android/binder_ibinder.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "Parcel.h"

struct AIBinder_Class {
    const std::string descriptor;
    AParcel token;  // what every request to this interface begins with
    AIBinder_Class_onCreate onCreate;
    AIBinder_Class_onDestroy onDestroy;
    AIBinder_Class_onTransact onTransact;
};

// What local objects and proxies have in common: two reference counts, and calls. The object's work
// ends with the last strong reference, its memory with the last weak one; all strong references
// together hold one weak one.
struct AIBinder {
  public:
    AIBinder(const AIBinder&) = delete;
    AIBinder& operator=(const AIBinder&) = delete;

    void incStrong() { mStrong.fetch_add(1, std::memory_order_relaxed); }
    void decStrong();
    void incWeak() { mWeak.fetch_add(1, std::memory_order_relaxed); }
    void decWeak();
    // A further strong reference, unless the last one is gone.
    bool promote();

    const AIBinder_Class* clazz() const { return mClass.load(std::memory_order_acquire); }
    // False when the object already has another class.
    bool setClass(const AIBinder_Class* clazz);

    virtual bool isRemote() const = 0;
    virtual bool isAlive() const { return true; }
    virtual void* userData() const { return nullptr; }
    // Makes one call. `in` is at its beginning; `out` is empty and is written.
    virtual binder_status_t transact(transaction_code_t code, const AParcel& in, AParcel* out) = 0;
    virtual binder_status_t linkToDeath(AIBinder_DeathRecipient*, void*) {
        return STATUS_INVALID_OPERATION;
    }

  protected:
    explicit AIBinder(const AIBinder_Class* clazz) : mClass(clazz) {}
    virtual ~AIBinder() = default;
    // Called once, when the last strong reference is gone.
    virtual void release() = 0;

  private:
    std::atomic<int32_t> mStrong{1};
    std::atomic<int32_t> mWeak{1};
    std::atomic<const AIBinder_Class*> mClass;
};

namespace standin {

// Runs the death links of a binder that is known to be dead, or forgets them.
void notifyDeath(AIBinder* binder);
void dropDeathLinks(AIBinder* binder);
// Adds a link unless the binder is dead.
binder_status_t addDeathLink(AIBinder* binder, AIBinder_DeathRecipient* recipient, void* cookie);

}  // namespace standin
