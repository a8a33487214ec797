#pragma once

#include <android/binder_parcel.h>

#include <cstdint>
#include <string>
#include <tuple>

namespace aidl::vendor::tav::lumvndhal_aidl {

// The reply of ILumvndhal::get_vnd_data.
class LumvndhalGenericData {
  public:
    static const char* descriptor;

    int32_t data_size = 0;
    std::string data;

    binder_status_t readFromParcel(const AParcel* parcel);
    binder_status_t writeToParcel(AParcel* parcel) const;
    std::string toString() const;

    bool operator==(const LumvndhalGenericData& rhs) const { return fields() == rhs.fields(); }
    bool operator!=(const LumvndhalGenericData& rhs) const { return fields() != rhs.fields(); }
    bool operator<(const LumvndhalGenericData& rhs) const { return fields() < rhs.fields(); }
    bool operator<=(const LumvndhalGenericData& rhs) const { return fields() <= rhs.fields(); }
    bool operator>(const LumvndhalGenericData& rhs) const { return fields() > rhs.fields(); }
    bool operator>=(const LumvndhalGenericData& rhs) const { return fields() >= rhs.fields(); }

  private:
    std::tuple<const int32_t&, const std::string&> fields() const { return {data_size, data}; }
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
