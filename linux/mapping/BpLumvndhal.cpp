#include <aidl/vendor/tav/lumvndhal_aidl/BpLumvndhal.h>

#include "Arguments.h"
#include "CallLog.h"
#include "MetaTransactions.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

using ::ndk::ScopedAParcel;
using ::ndk::ScopedAStatus;

template <typename T>
In<const T&> in(const char* name, const T& value) {
    return {name, value};
}

template <typename T>
Out<T&> out(const char* name, T* value) {
    return {name, *value};
}

template <typename... Args>
binder_status_t send(AIBinder* binder, transaction_code_t code, ScopedAParcel* answer,
                     const Args&... args) {
    ScopedAParcel request;
    binder_status_t status = AIBinder_prepareTransaction(binder, request.getR());
    ((status = status == STATUS_OK ? args.writeRequest(request.get()) : status), ...);
    if (status != STATUS_OK) return status;
    return AIBinder_transact(binder, code, request.getR(), answer->getR(), 0);
}

// Sends the inputs in their order, and reads the result and the outputs in theirs unless the
// service answered with another status than OK.
template <typename Result, typename... Args>
ScopedAStatus transact(AIBinder* binder, transaction_code_t code, Result* result, Args&... args) {
    ScopedAParcel answer;
    ScopedAStatus outcome;
    binder_status_t status = send(binder, code, &answer, args...);
    if (status == STATUS_OK) status = AParcel_readStatusHeader(answer.get(), outcome.getR());
    if (status == STATUS_OK && outcome.isOk()) {
        status = ::ndk::AParcel_readData(answer.get(), result);
        ((status = status == STATUS_OK ? args.readReply(answer.get()) : status), ...);
    }
    return status == STATUS_OK ? std::move(outcome) : ScopedAStatus::fromStatus(status);
}

template <typename Result, typename... Args>
ScopedAStatus call(const BpLumvndhal* proxy, transaction_code_t code, const char* name,
                   Result* result, Args... args) {
    const CallLog<BpLumvndhal> log;
    ScopedAStatus outcome = transact(proxy->asBinderReference().get(), code, result, args...);
    log.tell(proxy, nullptr, name, outcome, *result, args...);
    return outcome;
}

// `known` is what the service answered the first time.
template <typename T>
ScopedAStatus askOnce(AIBinder* binder, transaction_code_t code, std::optional<T>* known,
                      T* result) {
    if (!known->has_value()) {
        ScopedAStatus outcome = transact(binder, code, result);
        if (outcome.isOk()) *known = *result;
        return outcome;
    }
    *result = **known;
    return ScopedAStatus::ok();
}

}  // namespace

std::function<void(const BpLumvndhal::TransactionLog&)> BpLumvndhal::logFunc;

BpLumvndhal::BpLumvndhal(const ::ndk::SpAIBinder& binder) : BpCInterface(binder) {}
BpLumvndhal::~BpLumvndhal() = default;

ScopedAStatus BpLumvndhal::configure(
        const ::aidl::android::hardware::common::fmq::MQDescriptor<
                int8_t, ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>& desc,
        bool* result) {
    return call(this, TRANSACTION_configure, "configure", result, in("in_desc", desc));
}

ScopedAStatus BpLumvndhal::request_read(const std::string& path, int32_t count, bool* result) {
    return call(this, TRANSACTION_request_read, "request_read", result, in("in_path", path),
                in("in_count", count));
}

ScopedAStatus BpLumvndhal::get_vnd_data(const std::string& cmd, LumvndhalGenericData* vnd_data,
                                        int32_t* result) {
    return call(this, TRANSACTION_get_vnd_data, "get_vnd_data", result, in("in_cmd", cmd),
                out("out_vnd_data", vnd_data));
}

ScopedAStatus BpLumvndhal::set_vnd_data(const std::string& cmd, const std::string& param,
                                        int32_t* result) {
    return call(this, TRANSACTION_set_vnd_data, "set_vnd_data", result, in("in_cmd", cmd),
                in("in_param", param));
}

ScopedAStatus BpLumvndhal::update_vendor_dropbox(const std::string& path, bool create,
                                                 int32_t* result) {
    return call(this, TRANSACTION_update_vendor_dropbox, "update_vendor_dropbox", result,
                in("in_path", path), in("in_create", create));
}

ScopedAStatus BpLumvndhal::write_data_to_vendor_dropbox(const std::string& spath,
                                                        const std::vector<uint8_t>& data,
                                                        int32_t length, bool* result) {
    return call(this, TRANSACTION_write_data_to_vendor_dropbox, "write_data_to_vendor_dropbox",
                result, in("in_spath", spath), in("in_data", data), in("in_length", length));
}

ScopedAStatus BpLumvndhal::getInterfaceVersion(int32_t* result) {
    const std::lock_guard<std::mutex> lock(mMutex);
    return askOnce(asBinderReference().get(), kGetInterfaceVersion, &mVersion, result);
}

ScopedAStatus BpLumvndhal::getInterfaceHash(std::string* result) {
    const std::lock_guard<std::mutex> lock(mMutex);
    return askOnce(asBinderReference().get(), kGetInterfaceHash, &mHash, result);
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
