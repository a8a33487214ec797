#pragma once

#include <android/binder_status.h>

#include <cstddef>
#include <cstdint>

// Parcels: the bytes and file descriptors that one call or reply carries, laid out as Android lays
// them out (little-endian, padded to 4 bytes, text as UTF-16). A parcel is used by one thread at a
// time. A read that fails leaves its target as it was.

extern "C" {

struct AParcel;

AParcel* AParcel_create();
// Closes the descriptors that the parcel still holds.
void AParcel_delete(AParcel* parcel);

int32_t AParcel_getDataSize(const AParcel* parcel);
int32_t AParcel_getDataPosition(const AParcel* parcel);
// STATUS_BAD_VALUE outside of the parcel.
binder_status_t AParcel_setDataPosition(const AParcel* parcel, int32_t position);

binder_status_t AParcel_writeInt32(AParcel* parcel, int32_t value);
binder_status_t AParcel_writeInt64(AParcel* parcel, int64_t value);
binder_status_t AParcel_writeBool(AParcel* parcel, bool value);
binder_status_t AParcel_readInt32(const AParcel* parcel, int32_t* value);
binder_status_t AParcel_readInt64(const AParcel* parcel, int64_t* value);
binder_status_t AParcel_readBool(const AParcel* parcel, bool* value);

// `length` bytes of UTF-8, or null with length -1. STATUS_BAD_VALUE for a text whose last character
// is cut short; other bytes that are not UTF-8 are altered on the way.
binder_status_t AParcel_writeString(AParcel* parcel, const char* text, int32_t length);
// Gives room for `length` bytes, the terminating NUL included, or is told -1 for a null text.
using AParcel_stringAllocator = bool (*)(void* target, int32_t length, char** buffer);
binder_status_t AParcel_readString(const AParcel* parcel, void* target,
                                   AParcel_stringAllocator allocator);

// `length` bytes, or null with length -1.
binder_status_t AParcel_writeByteArray(AParcel* parcel, const int8_t* data, int32_t length);
// Gives room for `length` bytes, or is told -1 for a null array.
using AParcel_byteArrayAllocator = bool (*)(void* target, int32_t length, int8_t** buffer);
binder_status_t AParcel_readByteArray(const AParcel* parcel, void* target,
                                      AParcel_byteArrayAllocator allocator);

// Duplicates `fd`, or writes null for -1.
binder_status_t AParcel_writeParcelFileDescriptor(AParcel* parcel, int fd);
// A descriptor that the caller owns and closes, or -1 for null.
binder_status_t AParcel_readParcelFileDescriptor(const AParcel* parcel, int* fd);

// The outcome that a reply begins with. A transport failure has no place in a parcel and is
// returned instead of being written.
binder_status_t AParcel_writeStatusHeader(AParcel* parcel, const AStatus* status);
// On STATUS_OK the caller owns `*status`.
binder_status_t AParcel_readStatusHeader(const AParcel* parcel, AStatus** status);

}  // extern "C"
