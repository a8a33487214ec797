#include <aidl/android/hardware/common/NativeHandle.h>
#include <standin/parcelable.h>

namespace aidl::android::hardware::common {

const char* NativeHandle::descriptor = "android.hardware.common.NativeHandle";

binder_status_t NativeHandle::readFromParcel(const AParcel* parcel) {
    return standin::readParcelable(parcel, &fds, &ints);
}

binder_status_t NativeHandle::writeToParcel(AParcel* parcel) const {
    return standin::writeParcelable(parcel, fds, ints);
}

std::string NativeHandle::toString() const {
    return "NativeHandle{" + std::to_string(fds.size()) + " fds, " + std::to_string(ints.size()) +
           " ints}";
}

}  // namespace aidl::android::hardware::common
