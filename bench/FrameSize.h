#pragma once

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>
#include <android/binder_parcel_utils.h>

#include <cstddef>

#include "linux/platform/binder/Wire.h"

// The bytes of a call on its way, for floors that send as many.
namespace bench {

constexpr size_t kFrameHeader = sizeof(standin::FrameHeader);
constexpr size_t kStatus = 4;  // in front of the results

// The values as they lie in a parcel.
template <typename... Values>
size_t sizeOf(const Values&... values) {
    const ndk::ScopedAParcel parcel(AParcel_create());
    (ndk::AParcel_writeData(parcel.get(), values), ...);
    return static_cast<size_t>(AParcel_getDataSize(parcel.get()));
}

// A frame with the interface's token, which begins with three words, and the arguments.
inline size_t requestSize(size_t arguments) {
    constexpr size_t kWords = 3 * sizeof(int32_t);
    using aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;
    return kFrameHeader + kWords + sizeOf(std::string(ILumvndhal::descriptor)) + arguments;
}

inline size_t replySize(size_t results) {
    return kFrameHeader + kStatus + results;
}

}  // namespace bench
