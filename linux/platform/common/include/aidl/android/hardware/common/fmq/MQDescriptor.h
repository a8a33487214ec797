#pragma once

#include <aidl/android/hardware/common/NativeHandle.h>
#include <aidl/android/hardware/common/fmq/GrantorDescriptor.h>

#include <cstdint>
#include <string>
#include <vector>

namespace aidl::android::hardware::common::fmq {

namespace impl {

// The fields of every MQDescriptor: none depends on its element type or its flavour.
binder_status_t readFields(const AParcel* parcel, std::vector<GrantorDescriptor>* grantors,
                           NativeHandle* handle, int32_t* quantum, int32_t* flags);
binder_status_t writeFields(AParcel* parcel, const std::vector<GrantorDescriptor>& grantors,
                            const NativeHandle& handle, int32_t quantum, int32_t flags);
std::string describeFields(const std::vector<GrantorDescriptor>& grantors,
                           const NativeHandle& handle, int32_t quantum, int32_t flags);

}  // namespace impl

// How to reach a message queue of elements T: its regions in the order read counter, write counter,
// ring, event-flag word (optional), and the descriptors of the memory they lie in. Owns those
// descriptors, so it can be moved and not copied. Values that came from a peer are unchecked; the
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
        return impl::readFields(parcel, &grantors, &handle, &quantum, &flags);
    }
    // Duplicates the descriptors.
    binder_status_t writeToParcel(AParcel* parcel) const {
        return impl::writeFields(parcel, grantors, handle, quantum, flags);
    }
    std::string toString() const { return impl::describeFields(grantors, handle, quantum, flags); }
};

template <typename T, typename Flavor>
const char* MQDescriptor<T, Flavor>::descriptor = "android.hardware.common.fmq.MQDescriptor";

}  // namespace aidl::android::hardware::common::fmq
