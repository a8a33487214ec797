#pragma once

#include <android/binder_parcel_utils.h>

// For the mappings of AIDL parcelables that are kept by hand: the body that Android's generated
// code writes, an int32 with the body's size (itself included) and then the fields in order.

namespace standin {

namespace impl {

// A sender of an older version ends earlier: what it did not have keeps its value.
template <typename Field>
binder_status_t readField(const AParcel* parcel, int32_t end, Field* field) {
    if (AParcel_getDataPosition(parcel) >= end) return STATUS_OK;
    return ::ndk::AParcel_readData(parcel, field);
}

}  // namespace impl

template <typename... Fields>
binder_status_t writeParcelable(AParcel* parcel, const Fields&... fields) {
    const int32_t start = AParcel_getDataPosition(parcel);
    binder_status_t status = AParcel_writeInt32(parcel, 0);
    ((status = status == STATUS_OK ? ::ndk::AParcel_writeData(parcel, fields) : status), ...);
    if (status != STATUS_OK) return status;
    const int32_t end = AParcel_getDataPosition(parcel);
    AParcel_setDataPosition(parcel, start);
    AParcel_writeInt32(parcel, end - start);
    return AParcel_setDataPosition(parcel, end);
}

// STATUS_BAD_VALUE for a size that is none, STATUS_NOT_ENOUGH_DATA for one that goes beyond the
// parcel.
template <typename... Fields>
binder_status_t readParcelable(const AParcel* parcel, Fields*... fields) {
    const int32_t start = AParcel_getDataPosition(parcel);
    int32_t size = 0;
    binder_status_t status = AParcel_readInt32(parcel, &size);
    if (status != STATUS_OK) return status;
    if (size < 4) return STATUS_BAD_VALUE;
    if (size > AParcel_getDataSize(parcel) - start) return STATUS_NOT_ENOUGH_DATA;
    ((status = status == STATUS_OK ? impl::readField(parcel, start + size, fields) : status), ...);
    if (status != STATUS_OK) return status;
    return AParcel_setDataPosition(parcel, start + size);
}

}  // namespace standin
