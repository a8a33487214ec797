#include <aidl/vendor/tav/lumvndhal_aidl/BnLumvndhal.h>
#include <aidl/vendor/tav/lumvndhal_aidl/BpLumvndhal.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_stability.h>

#include <utility>

#include "Transactions.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

using ::ndk::ScopedAStatus;
using ByteQueueDescriptor = ::aidl::android::hardware::common::fmq::MQDescriptor<
        int8_t, ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>;

// Reads the arguments in their order, up to the first that fails.
template <class... Args>
binder_status_t read(const AParcel* in, Args*... args) {
    binder_status_t status = STATUS_OK;
    ((status = status == STATUS_OK ? ::ndk::AParcel_readData(in, args) : status), ...);
    return status;
}

// Writes the outcome and, if it is OK, the results in their order.
template <class... Results>
binder_status_t reply(AParcel* out, const ScopedAStatus& outcome, const Results&... results) {
    binder_status_t status = AParcel_writeStatusHeader(out, outcome.get());
    if (status != STATUS_OK || !outcome.isOk()) return status;
    ((status = status == STATUS_OK ? ::ndk::AParcel_writeData(out, results) : status), ...);
    return status;
}

binder_status_t configure(BnLumvndhal* service, const AParcel* in, AParcel* out) {
    ByteQueueDescriptor desc;
    bool result = false;
    const binder_status_t status = read(in, &desc);
    return status != STATUS_OK ? status : reply(out, service->configure(desc, &result), result);
}

binder_status_t requestRead(BnLumvndhal* service, const AParcel* in, AParcel* out) {
    std::string path;
    int32_t count = 0;
    bool result = false;
    const binder_status_t status = read(in, &path, &count);
    if (status != STATUS_OK) return status;
    return reply(out, service->request_read(path, count, &result), result);
}

binder_status_t getVndData(BnLumvndhal* service, const AParcel* in, AParcel* out) {
    std::string cmd;
    LumvndhalGenericData data;
    int32_t result = 0;
    const binder_status_t status = read(in, &cmd);
    if (status != STATUS_OK) return status;
    const ScopedAStatus outcome = service->get_vnd_data(cmd, &data, &result);
    return reply(out, outcome, result, data);
}

binder_status_t setVndData(BnLumvndhal* service, const AParcel* in, AParcel* out) {
    std::string cmd;
    std::string param;
    int32_t result = 0;
    const binder_status_t status = read(in, &cmd, &param);
    if (status != STATUS_OK) return status;
    return reply(out, service->set_vnd_data(cmd, param, &result), result);
}

binder_status_t updateVendorDropbox(BnLumvndhal* service, const AParcel* in, AParcel* out) {
    std::string path;
    bool create = false;
    int32_t result = 0;
    const binder_status_t status = read(in, &path, &create);
    if (status != STATUS_OK) return status;
    return reply(out, service->update_vendor_dropbox(path, create, &result), result);
}

binder_status_t writeDataToVendorDropbox(BnLumvndhal* service, const AParcel* in, AParcel* out) {
    std::string path;
    std::vector<uint8_t> data;
    int32_t length = 0;
    bool result = false;
    const binder_status_t status = read(in, &path, &data, &length);
    if (status != STATUS_OK) return status;
    const ScopedAStatus outcome =
            service->write_data_to_vendor_dropbox(path, data, length, &result);
    return reply(out, outcome, result);
}

binder_status_t onTransact(AIBinder* binder, transaction_code_t code, const AParcel* in,
                           AParcel* out) {
    const auto interface = ::ndk::ICInterface::asInterface(binder);
    auto* service = static_cast<BnLumvndhal*>(interface.get());
    switch (code) {
        case kConfigure:
            return configure(service, in, out);
        case kRequestRead:
            return requestRead(service, in, out);
        case kGetVndData:
            return getVndData(service, in, out);
        case kSetVndData:
            return setVndData(service, in, out);
        case kUpdateVendorDropbox:
            return updateVendorDropbox(service, in, out);
        case kWriteDataToVendorDropbox:
            return writeDataToVendorDropbox(service, in, out);
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
