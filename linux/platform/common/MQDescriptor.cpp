#include <aidl/android/hardware/common/fmq/MQDescriptor.h>
#include <android/binder_to_string.h>
#include <standin/parcelable.h>

namespace aidl::android::hardware::common::fmq::impl {

using ::android::internal::ToString;

binder_status_t readFields(const AParcel* parcel, std::vector<GrantorDescriptor>* grantors,
                           NativeHandle* handle, int32_t* quantum, int32_t* flags) {
    return standin::readParcelable(parcel, grantors, handle, quantum, flags);
}

binder_status_t writeFields(AParcel* parcel, const std::vector<GrantorDescriptor>& grantors,
                            const NativeHandle& handle, int32_t quantum, int32_t flags) {
    return standin::writeParcelable(parcel, grantors, handle, quantum, flags);
}

std::string describeFields(const std::vector<GrantorDescriptor>& grantors,
                           const NativeHandle& handle, int32_t quantum, int32_t flags) {
    return "MQDescriptor{grantors: " + ToString(grantors) + ", handle: " + ToString(handle) +
           ", quantum: " + ToString(quantum) + ", flags: " + ToString(flags) + "}";
}

}  // namespace aidl::android::hardware::common::fmq::impl
