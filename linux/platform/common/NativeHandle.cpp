#include <aidl/android/hardware/common/NativeHandle.h>
#include <android/binder_to_string.h>
#include <standin/parcelable.h>

namespace aidl::android::hardware::common {

using ::android::internal::ToString;

const char* NativeHandle::descriptor = "android.hardware.common.NativeHandle";

binder_status_t NativeHandle::readFromParcel(const AParcel* parcel) {
    return standin::readParcelable(parcel, &fds, &ints);
}

binder_status_t NativeHandle::writeToParcel(AParcel* parcel) const {
    return standin::writeParcelable(parcel, fds, ints);
}

std::string NativeHandle::toString() const {
    return "NativeHandle{fds: " + ToString(fds) + ", ints: " + ToString(ints) + "}";
}

}  // namespace aidl::android::hardware::common
