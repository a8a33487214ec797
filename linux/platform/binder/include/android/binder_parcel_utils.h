#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_parcel.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Parcels for C++ types. AParcel_writeData and AParcel_readData know int32_t, int64_t, bool,
// std::string, ScopedFileDescriptor, parcelables (classes with writeToParcel and readFromParcel)
// and vectors of these; none of them may be null.

namespace ndk {

namespace impl {

inline bool resizeString(void* target, int32_t length, char** buffer) {
    if (length < 0) return false;
    auto* text = static_cast<std::string*>(target);
    text->resize(static_cast<size_t>(length) - 1);  // a std::string keeps a NUL of its own
    *buffer = text->data();
    return true;
}

template <typename Byte>
bool resizeBytes(void* target, int32_t length, int8_t** buffer) {
    if (length < 0) return false;
    auto* bytes = static_cast<std::vector<Byte>*>(target);
    bytes->resize(static_cast<size_t>(length));
    *buffer = reinterpret_cast<int8_t*>(bytes->data());
    return true;
}

}  // namespace impl

inline binder_status_t AParcel_writeString(AParcel* parcel, const std::string& text) {
    if (text.size() > INT32_MAX) return STATUS_BAD_VALUE;
    return ::AParcel_writeString(parcel, text.data(), static_cast<int32_t>(text.size()));
}

// Null for no text. As on Android, this makes a call with a literal ambiguous: pass a std::string.
inline binder_status_t AParcel_writeString(AParcel* parcel,
                                           const std::optional<std::string>& text) {
    if (!text) return ::AParcel_writeString(parcel, nullptr, -1);
    return AParcel_writeString(parcel, *text);
}

inline binder_status_t AParcel_readString(const AParcel* parcel, std::string* text) {
    return ::AParcel_readString(parcel, text, impl::resizeString);
}

inline binder_status_t AParcel_writeData(AParcel* parcel, int32_t value) {
    return AParcel_writeInt32(parcel, value);
}
inline binder_status_t AParcel_writeData(AParcel* parcel, int64_t value) {
    return AParcel_writeInt64(parcel, value);
}
inline binder_status_t AParcel_writeData(AParcel* parcel, bool value) {
    return AParcel_writeBool(parcel, value);
}
inline binder_status_t AParcel_writeData(AParcel* parcel, const std::string& text) {
    return AParcel_writeString(parcel, text);
}
inline binder_status_t AParcel_writeData(AParcel* parcel, const ScopedFileDescriptor& fd) {
    if (fd.get() < 0) return STATUS_UNEXPECTED_NULL;
    return AParcel_writeParcelFileDescriptor(parcel, fd.get());
}
template <typename P>
auto AParcel_writeData(AParcel* parcel, const P& parcelable)
        -> decltype(parcelable.writeToParcel(parcel)) {
    const binder_status_t status = AParcel_writeInt32(parcel, 1);  // not null
    return status == STATUS_OK ? parcelable.writeToParcel(parcel) : status;
}

inline binder_status_t AParcel_readData(const AParcel* parcel, int32_t* value) {
    return AParcel_readInt32(parcel, value);
}
inline binder_status_t AParcel_readData(const AParcel* parcel, int64_t* value) {
    return AParcel_readInt64(parcel, value);
}
inline binder_status_t AParcel_readData(const AParcel* parcel, bool* value) {
    return AParcel_readBool(parcel, value);
}
inline binder_status_t AParcel_readData(const AParcel* parcel, std::string* text) {
    return AParcel_readString(parcel, text);
}
inline binder_status_t AParcel_readData(const AParcel* parcel, ScopedFileDescriptor* fd) {
    int raw = -1;
    const binder_status_t status = AParcel_readParcelFileDescriptor(parcel, &raw);
    if (status != STATUS_OK) return status;
    if (raw < 0) return STATUS_UNEXPECTED_NULL;
    fd->set(raw);
    return STATUS_OK;
}
template <typename P>
auto AParcel_readData(const AParcel* parcel, P* parcelable)
        -> decltype(parcelable->readFromParcel(parcel)) {
    int32_t present = 0;
    const binder_status_t status = AParcel_readInt32(parcel, &present);
    if (status != STATUS_OK) return status;
    return present == 0 ? STATUS_UNEXPECTED_NULL : parcelable->readFromParcel(parcel);
}

inline binder_status_t AParcel_writeVector(AParcel* parcel, const std::vector<uint8_t>& bytes) {
    if (bytes.size() > INT32_MAX) return STATUS_BAD_VALUE;
    return AParcel_writeByteArray(parcel, reinterpret_cast<const int8_t*>(bytes.data()),
                                  static_cast<int32_t>(bytes.size()));
}
inline binder_status_t AParcel_readVector(const AParcel* parcel, std::vector<uint8_t>* bytes) {
    return AParcel_readByteArray(parcel, bytes, impl::resizeBytes<uint8_t>);
}

template <typename T>
binder_status_t AParcel_writeVector(AParcel* parcel, const std::vector<T>& items) {
    if (items.size() > INT32_MAX) return STATUS_BAD_VALUE;
    binder_status_t status = AParcel_writeInt32(parcel, static_cast<int32_t>(items.size()));
    for (auto item = items.begin(); item != items.end() && status == STATUS_OK; ++item) {
        status = AParcel_writeData(parcel, *item);
    }
    return status;
}

// Every item takes at least 4 bytes, so a count beyond the bytes that are left is refused before
// memory is taken for it.
template <typename T>
binder_status_t AParcel_readVector(const AParcel* parcel, std::vector<T>* items) {
    int32_t count = 0;
    binder_status_t status = AParcel_readInt32(parcel, &count);
    if (status != STATUS_OK) return status;
    if (count < -1) return STATUS_BAD_VALUE;
    const int32_t left = AParcel_getDataSize(parcel) - AParcel_getDataPosition(parcel);
    if (count == -1 || count > left / 4) return STATUS_NO_MEMORY;
    items->clear();
    items->resize(static_cast<size_t>(count));
    for (auto item = items->begin(); item != items->end() && status == STATUS_OK; ++item) {
        status = AParcel_readData(parcel, &*item);
    }
    return status;
}

template <typename T>
binder_status_t AParcel_writeData(AParcel* parcel, const std::vector<T>& items) {
    return AParcel_writeVector(parcel, items);
}
template <typename T>
binder_status_t AParcel_readData(const AParcel* parcel, std::vector<T>* items) {
    return AParcel_readVector(parcel, items);
}

}  // namespace ndk
