#pragma once

#include <android/binder_parcel.h>
#include <android/binder_parcelable_utils.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>

namespace aidl::vendor::tav::lumvndhal_aidl {

// The reply of ILumvndhal::get_vnd_data.
class LumvndhalGenericData {
  public:
    using fixed_size = std::false_type;
    static const char* descriptor;

    int32_t data_size = 0;
    std::string data;

    binder_status_t readFromParcel(const AParcel* parcel);
    binder_status_t writeToParcel(AParcel* parcel) const;

    bool operator==(const LumvndhalGenericData& rhs) const {
        return std::tie(data_size, data) == std::tie(rhs.data_size, rhs.data);
    }
    bool operator<(const LumvndhalGenericData& rhs) const {
        return std::tie(data_size, data) < std::tie(rhs.data_size, rhs.data);
    }
    bool operator!=(const LumvndhalGenericData& rhs) const { return !(*this == rhs); }
    bool operator>(const LumvndhalGenericData& rhs) const { return rhs < *this; }
    bool operator<=(const LumvndhalGenericData& rhs) const { return !(rhs < *this); }
    bool operator>=(const LumvndhalGenericData& rhs) const { return !(*this < rhs); }

    static const ::ndk::parcelable_stability_t _aidl_stability = ::ndk::STABILITY_VINTF;
    std::string toString() const;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
