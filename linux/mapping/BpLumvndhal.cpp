#include <aidl/vendor/tav/lumvndhal_aidl/BpLumvndhal.h>
#include <android/binder_parcel_utils.h>

#include <tuple>

#include "Transactions.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

using ::ndk::ScopedAParcel;
using ::ndk::ScopedAStatus;

template <class... Args>
binder_status_t makeRequest(AIBinder* binder, ScopedAParcel* request, const Args&... args) {
    binder_status_t status = AIBinder_prepareTransaction(binder, request->getR());
    ((status = status == STATUS_OK ? ::ndk::AParcel_writeData(request->get(), args) : status), ...);
    return status;
}

// Makes the call with the arguments in their order, and reads the results in theirs unless the
// service answered with another status than OK.
template <class... Results, class... Args>
ScopedAStatus call(AIBinder* binder, Transaction code, std::tuple<Results*...> results,
                   const Args&... args) {
    ScopedAParcel request;
    ScopedAParcel answer;
    ScopedAStatus outcome;
    binder_status_t status = makeRequest(binder, &request, args...);
    if (status == STATUS_OK) {
        status = AIBinder_transact(binder, code, request.getR(), answer.getR(), 0);
    }
    if (status == STATUS_OK) status = AParcel_readStatusHeader(answer.get(), outcome.getR());
    if (status != STATUS_OK) return ScopedAStatus::fromStatus(status);
    if (!outcome.isOk()) return outcome;
    const auto read = [&](auto* result) {
        if (status == STATUS_OK) status = ::ndk::AParcel_readData(answer.get(), result);
    };
    std::apply([&](auto*... each) { (read(each), ...); }, results);
    return status == STATUS_OK ? std::move(outcome) : ScopedAStatus::fromStatus(status);
}

}  // namespace

ScopedAStatus BpLumvndhal::configure(
        const ::aidl::android::hardware::common::fmq::MQDescriptor<
                int8_t, ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>& desc,
        bool* result) {
    return call(asBinderReference().get(), kConfigure, std::tuple(result), desc);
}

ScopedAStatus BpLumvndhal::request_read(const std::string& path, int32_t count, bool* result) {
    return call(asBinderReference().get(), kRequestRead, std::tuple(result), path, count);
}

ScopedAStatus BpLumvndhal::get_vnd_data(const std::string& cmd, LumvndhalGenericData* vnd_data,
                                        int32_t* result) {
    return call(asBinderReference().get(), kGetVndData, std::tuple(result, vnd_data), cmd);
}

ScopedAStatus BpLumvndhal::set_vnd_data(const std::string& cmd, const std::string& param,
                                        int32_t* result) {
    return call(asBinderReference().get(), kSetVndData, std::tuple(result), cmd, param);
}

ScopedAStatus BpLumvndhal::update_vendor_dropbox(const std::string& path, bool create,
                                                 int32_t* result) {
    return call(asBinderReference().get(), kUpdateVendorDropbox, std::tuple(result), path, create);
}

ScopedAStatus BpLumvndhal::write_data_to_vendor_dropbox(const std::string& spath,
                                                        const std::vector<uint8_t>& data,
                                                        int32_t length, bool* result) {
    return call(asBinderReference().get(), kWriteDataToVendorDropbox, std::tuple(result), spath,
                data, length);
}

ScopedAStatus BpLumvndhal::getInterfaceVersion(int32_t* result) {
    return call(asBinderReference().get(), kGetInterfaceVersion, std::tuple(result));
}

ScopedAStatus BpLumvndhal::getInterfaceHash(std::string* result) {
    return call(asBinderReference().get(), kGetInterfaceHash, std::tuple(result));
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
