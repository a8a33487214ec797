#include <aidl/vendor/tav/lumvndhal_aidl/BnLumvndhal.h>
#include <aidl/vendor/tav/lumvndhal_aidl/BpLumvndhal.h>
#include <android/binder_stability.h>

#include "Arguments.h"
#include "CallLog.h"
#include "MetaTransactions.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

using ::ndk::ScopedAStatus;
using ByteQueueDescriptor = ::aidl::android::hardware::common::fmq::MQDescriptor<
        int8_t, ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>;

// One call on its way to the service's object.
struct Transaction {
    BnLumvndhal* service;
    const AParcel* in;
    AParcel* out;
};

// Writes the outcome and, if it is OK, the result and the outputs in their order.
template <typename Result, typename... Args>
binder_status_t reply(AParcel* out, const ScopedAStatus& outcome, const Result& result,
                      const Args&... args) {
    binder_status_t status = AParcel_writeStatusHeader(out, outcome.get());
    if (status != STATUS_OK || !outcome.isOk()) return status;
    status = ::ndk::AParcel_writeData(out, result);
    ((status = status == STATUS_OK ? args.writeReply(out) : status), ...);
    return status;
}

// Reads the inputs in their order, up to the first that fails; then makes the call and replies.
template <typename Result, typename Method, typename... Args>
binder_status_t answer(const Transaction& call, const char* name, Method method, Args... args) {
    binder_status_t status = STATUS_OK;
    ((status = status == STATUS_OK ? args.readRequest(call.in) : status), ...);
    if (status != STATUS_OK) return status;
    Result result{};
    const CallLog<BnLumvndhal> log;
    const ScopedAStatus outcome = (call.service->*method)(args.forMethod()..., &result);
    log.tell(nullptr, call.service, name, outcome, result, args...);
    return reply(call.out, outcome, result, args...);
}

binder_status_t onTransact(AIBinder* binder, transaction_code_t code, const AParcel* in,
                           AParcel* out) {
    const auto interface = ::ndk::ICInterface::asInterface(binder);
    const Transaction call = {static_cast<BnLumvndhal*>(interface.get()), in, out};
    switch (code) {
        case ILumvndhal::TRANSACTION_configure:
            return answer<bool>(call, "configure", &ILumvndhal::configure,
                                In<ByteQueueDescriptor>{"in_desc", {}});
        case ILumvndhal::TRANSACTION_request_read:
            return answer<bool>(call, "request_read", &ILumvndhal::request_read,
                                In<std::string>{"in_path", {}}, In<int32_t>{"in_count", 0});
        case ILumvndhal::TRANSACTION_get_vnd_data:
            return answer<int32_t>(call, "get_vnd_data", &ILumvndhal::get_vnd_data,
                                   In<std::string>{"in_cmd", {}},
                                   Out<LumvndhalGenericData>{"out_vnd_data", {}});
        case ILumvndhal::TRANSACTION_set_vnd_data:
            return answer<int32_t>(call, "set_vnd_data", &ILumvndhal::set_vnd_data,
                                   In<std::string>{"in_cmd", {}}, In<std::string>{"in_param", {}});
        case ILumvndhal::TRANSACTION_update_vendor_dropbox:
            return answer<int32_t>(call, "update_vendor_dropbox",
                                   &ILumvndhal::update_vendor_dropbox,
                                   In<std::string>{"in_path", {}}, In<bool>{"in_create", false});
        case ILumvndhal::TRANSACTION_write_data_to_vendor_dropbox:
            return answer<bool>(
                    call, "write_data_to_vendor_dropbox", &ILumvndhal::write_data_to_vendor_dropbox,
                    In<std::string>{"in_spath", {}}, In<std::vector<uint8_t>>{"in_data", {}},
                    In<int32_t>{"in_length", 0});
        case kGetInterfaceVersion:
            return reply(out, ScopedAStatus::ok(), ILumvndhal::version);
        case kGetInterfaceHash:
            return reply(out, ScopedAStatus::ok(), ILumvndhal::hash);
        default:
            return STATUS_UNKNOWN_TRANSACTION;
    }
}

const AIBinder_Class* theClass() {
    static const AIBinder_Class* clazz =
            ::ndk::ICInterface::defineClass(ILumvndhal::descriptor, onTransact);
    return clazz;
}

}  // namespace

const char* ILumvndhal::descriptor = "vendor.tav.lumvndhal_aidl.ILumvndhal";

std::shared_ptr<ILumvndhal> ILumvndhal::fromBinder(const ::ndk::SpAIBinder& binder) {
    if (!AIBinder_associateClass(binder.get(), theClass())) return nullptr;
    const auto local = ::ndk::ICInterface::asInterface(binder.get());
    if (local != nullptr) return std::static_pointer_cast<ILumvndhal>(local);
    return ::ndk::SharedRefBase::make<BpLumvndhal>(binder);
}

std::function<void(const BnLumvndhal::TransactionLog&)> BnLumvndhal::logFunc;

BnLumvndhal::BnLumvndhal() = default;
BnLumvndhal::~BnLumvndhal() = default;

::ndk::SpAIBinder BnLumvndhal::createBinder() {
    AIBinder* binder = AIBinder_new(theClass(), static_cast<::ndk::ICInterface*>(this));
    AIBinder_markVintfStability(binder);
    return ::ndk::SpAIBinder(binder);
}

ScopedAStatus BnLumvndhal::getInterfaceVersion(int32_t* result) {
    *result = ILumvndhal::version;
    return ScopedAStatus::ok();
}

ScopedAStatus BnLumvndhal::getInterfaceHash(std::string* result) {
    *result = ILumvndhal::hash;
    return ScopedAStatus::ok();
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
