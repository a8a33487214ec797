#pragma once

#include <android/binder_auto_utils.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace android::details {

// The memory behind one descriptor, and the part of it that is mapped here. Releases both when it
// goes out of scope. Functions that return a bool log what was wrong when they return false.
class SharedMemory final {
  public:
    SharedMemory() = default;
    ~SharedMemory() { release(); }
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    // New memory of at least `size` bytes, all zero, that can grow and never shrink. -1 when there
    // is none to be had.
    static ::ndk::ScopedFileDescriptor create(size_t size);

    // Duplicates `fd` and refuses it unless every byte of size() stays accessible from now on,
    // whatever its other owners do.
    bool open(int fd);
    // Maps at least the bytes from `begin` to `end`; begin < end <= size().
    bool map(uint64_t begin, uint64_t end);
    void release();

    uint64_t size() const { return mSize; }
    int fd() const { return mFd.get(); }
    bool isSameAs(const SharedMemory& other) const {
        return mDevice == other.mDevice && mInode == other.mInode;
    }
    // `offset` is one that was mapped.
    unsigned char* at(uint64_t offset) const { return mBase + (offset - mBegin); }

  private:
    ::ndk::ScopedFileDescriptor mFd;
    dev_t mDevice = 0;
    ino_t mInode = 0;
    uint64_t mSize = 0;
    unsigned char* mBase = nullptr;  // page-aligned, the byte mBegin of the memory
    uint64_t mBegin = 0;
    size_t mLength = 0;
};

}  // namespace android::details
