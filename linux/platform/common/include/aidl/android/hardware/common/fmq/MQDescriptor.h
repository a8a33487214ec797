#pragma once

#include <aidl/android/hardware/common/NativeHandle.h>
#include <aidl/android/hardware/common/fmq/GrantorDescriptor.h>
#include <standin/parcelable.h>

#include <cstdint>
#include <vector>

namespace aidl::android::hardware::common::fmq {

// How to reach a message queue of elements T: its regions in the order read counter, write counter,
// ring, event-flag word (optional), and the descriptors of the memory they lie in. Owns those
// descriptors, hence movable and not copyable. Values that came from a peer are unchecked; the
// queue's constructor checks them.
template <typename T, typename Flavor>
class MQDescriptor {
  public:
    static const char* descriptor;

    std::vector<GrantorDescriptor> grantors;
    NativeHandle handle;
    int32_t quantum = 0;  // bytes of one element
    int32_t flags = 0;

    // On failure some fields may have been replaced.
    binder_status_t readFromParcel(const AParcel* parcel) {
        return standin::readParcelable(parcel, &grantors, &handle, &quantum, &flags);
    }
    // Duplicates the descriptors.
    binder_status_t writeToParcel(AParcel* parcel) const {
        return standin::writeParcelable(parcel, grantors, handle, quantum, flags);
    }
};

template <typename T, typename Flavor>
const char* MQDescriptor<T, Flavor>::descriptor = "android.hardware.common.fmq.MQDescriptor";

}  // namespace aidl::android::hardware::common::fmq
