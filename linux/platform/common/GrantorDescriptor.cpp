#include <aidl/android/hardware/common/fmq/GrantorDescriptor.h>
#include <android/binder_to_string.h>
#include <standin/parcelable.h>

namespace aidl::android::hardware::common::fmq {

using ::android::internal::ToString;

const char* GrantorDescriptor::descriptor = "android.hardware.common.fmq.GrantorDescriptor";

binder_status_t GrantorDescriptor::readFromParcel(const AParcel* parcel) {
    return standin::readParcelable(parcel, &fdIndex, &offset, &extent);
}

binder_status_t GrantorDescriptor::writeToParcel(AParcel* parcel) const {
    return standin::writeParcelable(parcel, fdIndex, offset, extent);
}

std::string GrantorDescriptor::toString() const {
    return "GrantorDescriptor{fdIndex: " + ToString(fdIndex) + ", offset: " + ToString(offset) +
           ", extent: " + ToString(extent) + "}";
}

}  // namespace aidl::android::hardware::common::fmq
