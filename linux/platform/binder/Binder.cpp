#include "Binder.h"

#include <android/binder_parcel_utils.h>
#include <android/binder_stability.h>

#include <memory>

void AIBinder::decStrong() {
    if (mStrong.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    release();
    decWeak();
}

void AIBinder::decWeak() {
    if (mWeak.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

bool AIBinder::promote() {
    int32_t strong = mStrong.load(std::memory_order_relaxed);
    while (strong > 0) {
        if (mStrong.compare_exchange_weak(strong, strong + 1, std::memory_order_acq_rel))
            return true;
    }
    return false;
}

bool AIBinder::setClass(const AIBinder_Class* clazz) {
    const AIBinder_Class* none = nullptr;
    return mClass.compare_exchange_strong(none, clazz, std::memory_order_acq_rel) || none == clazz;
}

namespace standin {
namespace {

class LocalBinder final : public AIBinder {
  public:
    LocalBinder(const AIBinder_Class* clazz, void* userData)
        : AIBinder(clazz), mUserData(userData) {}

    bool isRemote() const override { return false; }
    void* userData() const override { return mUserData; }
    binder_status_t transact(transaction_code_t code, const AParcel& in, AParcel* out) override;

  private:
    binder_status_t answer(transaction_code_t code, AParcel* out) const;
    void release() override { clazz()->onDestroy(mUserData); }

    void* const mUserData;
};

binder_status_t LocalBinder::transact(transaction_code_t code, const AParcel& in, AParcel* out) {
    if (code < FIRST_CALL_TRANSACTION || code > LAST_CALL_TRANSACTION) return answer(code, out);
    const binder_status_t status = checkInterfaceToken(&in, clazz()->token);
    return status == STATUS_OK ? clazz()->onTransact(this, code, &in, out) : status;
}

// What every binder answers by itself.
binder_status_t LocalBinder::answer(transaction_code_t code, AParcel* out) const {
    switch (code) {
        case kPingCode:
        case kDumpCode:
        case kPropertiesChangedCode:
        case kExtensionCode:
        case kProcessCode:
            return STATUS_OK;
        case kInterfaceCode:
            return ndk::AParcel_writeString(out, clazz()->descriptor);
        case kShellCommandCode:
            return STATUS_BAD_VALUE;
        default:
            return STATUS_UNKNOWN_TRANSACTION;
    }
}

bool isOfInterface(AIBinder* binder, const std::string& descriptor) {
    const AParcel question;
    AParcel answer;
    std::string actual;
    if (binder->transact(kInterfaceCode, question, &answer) != STATUS_OK) return false;
    answer.setPosition(0);
    return ndk::AParcel_readString(&answer, &actual) == STATUS_OK && actual == descriptor;
}

}  // namespace
}  // namespace standin

// A weak reference.
struct AIBinder_Weak {
    AIBinder* binder;
};

AIBinder_Class* AIBinder_Class_define(const char* interfaceDescriptor,
                                      AIBinder_Class_onCreate onCreate,
                                      AIBinder_Class_onDestroy onDestroy,
                                      AIBinder_Class_onTransact onTransact) {
    auto* clazz = new AIBinder_Class{interfaceDescriptor, {}, onCreate, onDestroy, onTransact};
    standin::writeInterfaceToken(&clazz->token, interfaceDescriptor);
    return clazz;
}

const char* AIBinder_Class_getDescriptor(const AIBinder_Class* clazz) {
    return clazz->descriptor.c_str();
}

AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args) {
    return new standin::LocalBinder(clazz, clazz->onCreate(args));
}

void AIBinder_incStrong(AIBinder* binder) {
    binder->incStrong();
}

void AIBinder_decStrong(AIBinder* binder) {
    binder->decStrong();
}

void* AIBinder_getUserData(AIBinder* binder) {
    return binder->userData();
}

AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder) {
    if (binder == nullptr) return nullptr;
    binder->incWeak();
    return new AIBinder_Weak{binder};
}

void AIBinder_Weak_delete(AIBinder_Weak* weak) {
    if (weak == nullptr) return;
    weak->binder->decWeak();
    delete weak;
}

AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weak) {
    return weak != nullptr && weak->binder->promote() ? weak->binder : nullptr;
}

bool AIBinder_isRemote(const AIBinder* binder) {
    return binder != nullptr && binder->isRemote();
}

bool AIBinder_isAlive(const AIBinder* binder) {
    return binder != nullptr && binder->isAlive();
}

binder_status_t AIBinder_ping(AIBinder* binder) {
    if (binder == nullptr) return STATUS_UNEXPECTED_NULL;
    const AParcel question;
    AParcel answer;
    return binder->transact(standin::kPingCode, question, &answer);
}

bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz) {
    if (binder == nullptr || clazz == nullptr) return false;
    if (binder->clazz() == nullptr && !standin::isOfInterface(binder, clazz->descriptor)) {
        return false;
    }
    return binder->setClass(clazz);
}

const AIBinder_Class* AIBinder_getClass(AIBinder* binder) {
    return binder->clazz();
}

binder_status_t AIBinder_prepareTransaction(AIBinder* binder, AParcel** in) {
    if (binder == nullptr || in == nullptr) return STATUS_UNEXPECTED_NULL;
    if (binder->clazz() == nullptr) return STATUS_INVALID_OPERATION;
    auto parcel = std::make_unique<AParcel>();
    const AParcel& token = binder->clazz()->token;
    if (!parcel->assign(token.data(), token.size())) return STATUS_NO_MEMORY;
    parcel->setPosition(token.size());
    *in = parcel.release();
    return STATUS_OK;
}

binder_status_t AIBinder_transact(AIBinder* binder, transaction_code_t code, AParcel** in,
                                  AParcel** out, binder_flags_t flags) {
    if (binder == nullptr || in == nullptr || *in == nullptr || out == nullptr) {
        return STATUS_UNEXPECTED_NULL;
    }
    const std::unique_ptr<AParcel> request(std::exchange(*in, nullptr));
    if (flags != 0) return STATUS_BAD_VALUE;
    auto reply = std::make_unique<AParcel>();
    request->setPosition(0);
    const binder_status_t status = binder->transact(code, *request, reply.get());
    if (status != STATUS_OK) return status;
    reply->setPosition(0);
    *out = reply.release();
    return STATUS_OK;
}

binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie) {
    if (binder == nullptr || recipient == nullptr) return STATUS_UNEXPECTED_NULL;
    return binder->linkToDeath(recipient, cookie);
}

void AIBinder_markVintfStability(AIBinder*) {}
