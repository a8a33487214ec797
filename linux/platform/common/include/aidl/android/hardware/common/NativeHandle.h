#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_parcel.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

namespace aidl::android::hardware::common {

// Descriptors and integers that belong together. Owns the descriptors, so it can be moved
// and not copied. Two handles are equal when they name the same descriptor numbers and integers.
class NativeHandle {
  public:
    static const char* descriptor;

    std::vector<::ndk::ScopedFileDescriptor> fds;
    std::vector<int32_t> ints;

    // On failure some fields may have been replaced.
    binder_status_t readFromParcel(const AParcel* parcel);
    // Duplicates every descriptor; one that holds none is STATUS_UNEXPECTED_NULL.
    binder_status_t writeToParcel(AParcel* parcel) const;

    bool operator==(const NativeHandle& rhs) const {
        return std::tie(fds, ints) == std::tie(rhs.fds, rhs.ints);
    }
    bool operator<(const NativeHandle& rhs) const {
        return std::tie(fds, ints) < std::tie(rhs.fds, rhs.ints);
    }
    bool operator!=(const NativeHandle& rhs) const { return !(*this == rhs); }
    bool operator>(const NativeHandle& rhs) const { return rhs < *this; }
    bool operator<=(const NativeHandle& rhs) const { return !(rhs < *this); }
    bool operator>=(const NativeHandle& rhs) const { return !(*this < rhs); }

    std::string toString() const;
};

}  // namespace aidl::android::hardware::common
