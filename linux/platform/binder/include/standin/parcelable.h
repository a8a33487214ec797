#pragma once

#include <android/binder_parcel_utils.h>

// For the hand-kept mappings of AIDL parcelables: the body that Android's generated code writes, an
// int32 with the body's size (itself included) and then the fields in order.

namespace standin {

namespace impl {

// A sender of an older version ends earlier: what it did not have keeps its value.
template <class Field>
binder_status_t readField(const AParcel* parcel, int32_t end, Field* field) {
    if (AParcel_getDataPosition(parcel) >= end) return STATUS_OK;
    return ndk::AParcel_readData(parcel, field);
}

}  // namespace impl

template <class... Fields>
binder_status_t writeParcelable(AParcel* parcel, const Fields&... fields) {
    const int32_t start = AParcel_getDataPosition(parcel);
    binder_status_t status = AParcel_writeInt32(parcel, 0);
    ((status = status == STATUS_OK ? ndk::AParcel_writeData(parcel, fields) : status), ...);
    if (status != STATUS_OK) return status;
    const int32_t end = AParcel_getDataPosition(parcel);
    AParcel_setDataPosition(parcel, start);
    AParcel_writeInt32(parcel, end - start);
    return AParcel_setDataPosition(parcel, end);
}

// STATUS_BAD_VALUE for a size that the parcel does not hold.
template <class... Fields>
binder_status_t readParcelable(const AParcel* parcel, Fields*... fields) {
    const int32_t start = AParcel_getDataPosition(parcel);
    int32_t size = 0;
    binder_status_t status = AParcel_readInt32(parcel, &size);
    if (status != STATUS_OK) return status;
    if (size < 4 || size > AParcel_getDataSize(parcel) - start) return STATUS_BAD_VALUE;
    ((status = status == STATUS_OK ? impl::readField(parcel, start + size, fields) : status), ...);
    if (status != STATUS_OK) return status;
    return AParcel_setDataPosition(parcel, start + size);
}

}  // namespace standin
