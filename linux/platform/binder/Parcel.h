#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_parcel.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Wire.h"

// A parcel is a sequence of bytes with a position, and the file descriptors that travel beside it.
// The bytes are its own, or borrowed from a connection's buffer for the duration of one call.
struct AParcel {
  public:
    AParcel() {}  // NOLINT(modernize-use-equals-default): would fill mSmall with zeros
    // For reading `size` bytes, which stay the caller's.
    AParcel(const uint8_t* data, size_t size)
        : mBytes(const_cast<uint8_t*>(data)), mSize(size), mCapacity(0) {}
    AParcel(const AParcel&) = delete;
    AParcel& operator=(const AParcel&) = delete;
    ~AParcel();

    const uint8_t* data() const { return mBytes; }
    size_t size() const { return mSize; }
    size_t position() const { return mPosition; }
    bool setPosition(size_t position) const;

    // Space for `bytes` more at the position, padded with zeros to a multiple of 4; null when there
    // is no memory.
    void* put(size_t bytes);
    // The next `bytes` and their padding; null when there are fewer left.
    const void* take(size_t bytes) const;
    size_t left() const { return mSize - mPosition; }

    template <typename T>
    binder_status_t putValue(T value) {
        void* to = put(sizeof(T));
        if (to == nullptr) return STATUS_NO_MEMORY;
        __builtin_memcpy(to, &value, sizeof(T));
        return STATUS_OK;
    }
    template <typename T>
    binder_status_t takeValue(T* value) const {
        const void* from = take(sizeof(T));
        if (from == nullptr) return STATUS_NOT_ENOUGH_DATA;
        __builtin_memcpy(value, from, sizeof(T));
        return STATUS_OK;
    }

    // Empties the parcel and keeps its memory for the next use, unless it grew large.
    void reset();
    // Replaces the content with a copy of these bytes; false when there is no memory.
    bool assign(const uint8_t* data, size_t size);

    // Counts a descriptor that is read; false when more are read than may travel.
    bool countRead() const { return ++mRead <= standin::kMaxDescriptors; }

    // The descriptors that objects in the bytes refer to by index.
    std::vector<ndk::ScopedFileDescriptor> fds;

  private:
    bool reserve(size_t capacity) { return capacity <= mCapacity || grow(capacity); }
    bool grow(size_t capacity);
    bool isOnHeap() const { return mCapacity > sizeof(mSmall); }

    uint8_t* mBytes = mSmall;
    size_t mSize = 0;
    size_t mCapacity = sizeof(mSmall);  // 0: the bytes are borrowed
    mutable size_t mPosition = 0;
    mutable size_t mRead = 0;  // descriptors, however often the same one
    uint8_t mSmall[256];       // what most calls fit in, without memory from the heap
};

namespace standin {

// What every request begins with: two words about the caller, which say nothing here, and the
// interface that is meant.
binder_status_t writeInterfaceToken(AParcel* parcel, const char* descriptor);
// Reads the token of a request. STATUS_BAD_TYPE when it differs from `token`, which
// writeInterfaceToken made, in more than the words about the caller.
binder_status_t checkInterfaceToken(const AParcel* parcel, const AParcel& token);

}  // namespace standin
