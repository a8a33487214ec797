#pragma once

#include <android/binder_parcel.h>

#include <cstdint>
#include <string>
#include <tuple>

namespace aidl::android::hardware::common::fmq {

// One region of shared memory: `extent` bytes at `offset` of the memory behind the handle's
// descriptor number `fdIndex`. Values that came from a peer are unchecked.
class GrantorDescriptor {
  public:
    static const char* descriptor;

    int32_t fdIndex = 0;
    int32_t offset = 0;
    int64_t extent = 0;

    binder_status_t readFromParcel(const AParcel* parcel);
    binder_status_t writeToParcel(AParcel* parcel) const;

    bool operator==(const GrantorDescriptor& rhs) const {
        return std::tie(fdIndex, offset, extent) == std::tie(rhs.fdIndex, rhs.offset, rhs.extent);
    }
    bool operator<(const GrantorDescriptor& rhs) const {
        return std::tie(fdIndex, offset, extent) < std::tie(rhs.fdIndex, rhs.offset, rhs.extent);
    }
    bool operator!=(const GrantorDescriptor& rhs) const { return !(*this == rhs); }
    bool operator>(const GrantorDescriptor& rhs) const { return rhs < *this; }
    bool operator<=(const GrantorDescriptor& rhs) const { return !(rhs < *this); }
    bool operator>=(const GrantorDescriptor& rhs) const { return !(*this < rhs); }

    std::string toString() const;
};

}  // namespace aidl::android::hardware::common::fmq
