#pragma once

#include <android/binder_parcel.h>
#include <android/binder_parcelable_utils.h>

#include <cstdint>
#include <string>
#include <type_traits>

namespace aidl::vendor::tav::lumvndhal_aidl {

class LumvndhalGenericData {
  public:
    using fixed_size = std::false_type;
    static const char* descriptor;
    int32_t data_size = 0;
    std::string data;
    binder_status_t readFromParcel(const AParcel*);
    binder_status_t writeToParcel(AParcel*) const;
    bool operator!=(const LumvndhalGenericData&) const;
    bool operator<(const LumvndhalGenericData&) const;
    bool operator<=(const LumvndhalGenericData&) const;
    bool operator==(const LumvndhalGenericData&) const;
    bool operator>(const LumvndhalGenericData&) const;
    bool operator>=(const LumvndhalGenericData&) const;
    static const ::ndk::parcelable_stability_t _aidl_stability = ::ndk::STABILITY_VINTF;
    std::string toString() const;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
