#include <aidl/vendor/tav/lumvndhal_aidl/LumvndhalGenericData.h>
#include <android/binder_to_string.h>
#include <standin/parcelable.h>

namespace aidl::vendor::tav::lumvndhal_aidl {

using ::android::internal::ToString;

const char* LumvndhalGenericData::descriptor = "vendor.tav.lumvndhal_aidl.LumvndhalGenericData";

binder_status_t LumvndhalGenericData::readFromParcel(const AParcel* parcel) {
    return standin::readParcelable(parcel, &data_size, &data);
}

binder_status_t LumvndhalGenericData::writeToParcel(AParcel* parcel) const {
    return standin::writeParcelable(parcel, data_size, data);
}

std::string LumvndhalGenericData::toString() const {
    return "LumvndhalGenericData{data_size: " + ToString(data_size) + ", data: " + ToString(data) +
           "}";
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
