#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace android::details {

// A ring of bytes and its two counters, in memory that the peer may write at any moment.
//
// Each operation loads each counter once and judges that one value; the ring's size and address are
// kept here and never read back from shared memory. So nothing the peer stores moves an access out
// of the ring; at worst the bytes are not the ones that were meant.
//
// One thread may read while another writes. Two readers, or two writers, need a lock of their own.
// Inline, because for a short message a call through the library's table would cost as much as the
// copy itself.
class SharedRing final {
  public:
    using Counter = std::atomic<uint64_t>;
    static_assert(Counter::is_always_lock_free && sizeof(Counter) == sizeof(uint64_t),
                  "a lock inside of the process would not keep the peer out");

    // Borrows the three regions until the next map or unmap. `size` is not 0.
    void map(Counter* readCounter, Counter* writeCounter, unsigned char* bytes, size_t size);
    void unmap() { *this = SharedRing(); }
    bool isMapped() const { return mBytes != nullptr; }
    size_t size() const { return mSize; }
    // Empties the ring for both ends.
    void reset();

    // Move exactly `count` elements of `unit` bytes and return true, or nothing and return false.
    // Where the counters are further apart than the ring is long, a read also drops what is
    // waiting.
    bool read(void* target, size_t count, size_t unit);
    bool write(const void* source, size_t count, size_t unit);

    // Bytes; 0 where the counters are further apart than the ring is long.
    size_t waiting() const;
    size_t room() const;

  private:
    // One end of the ring: its shared counter, and where this process last left it.
    //
    // The remembered position saves a 64-bit division per operation. It also carries a ring whose
    // size is no power of two over the counter's wrap at 2^64, where the remainder would jump and
    // land on bytes that are still unread.
    struct End {
        Counter* counter = nullptr;
        uint64_t last = 0;
        size_t offset = 0;

        size_t offsetAt(uint64_t count, size_t size) const {
            return count == last ? offset : count % size;
        }
        void moveTo(uint64_t count, size_t newOffset, size_t size) {
            last = count;
            offset = newOffset >= size ? newOffset - size : newOffset;
            counter->store(count, std::memory_order_release);
        }
    };

    // Distance of the counters; more than mSize when they make no sense together.
    uint64_t distance() const;

    End mRead;
    End mWrite;
    unsigned char* mBytes = nullptr;
    size_t mSize = 0;
};

inline void SharedRing::map(Counter* readCounter, Counter* writeCounter, unsigned char* bytes,
                            size_t size) {
    mRead = {readCounter, 0, 0};
    mWrite = {writeCounter, 0, 0};
    mBytes = bytes;
    mSize = size;
}

inline void SharedRing::reset() {
    mRead.moveTo(0, 0, mSize);
    mWrite.moveTo(0, 0, mSize);
}

inline bool SharedRing::read(void* target, size_t count, size_t unit) {
    if (!isMapped()) return false;
    const uint64_t written = mWrite.counter->load(std::memory_order_acquire);
    const uint64_t taken = mRead.counter->load(std::memory_order_relaxed);
    const uint64_t available = written - taken;
    if (available > mSize) {
        mRead.counter->store(written, std::memory_order_release);
        return false;
    }
    if (count > available / unit) return false;
    if (count == 0) return true;
    const size_t length = count * unit;
    const size_t offset = mRead.offsetAt(taken, mSize);
    const size_t beforeEnd = mSize - offset;
    if (length <= beforeEnd) {
        memcpy(target, mBytes + offset, length);
    } else {
        memcpy(target, mBytes + offset, beforeEnd);
        memcpy(static_cast<unsigned char*>(target) + beforeEnd, mBytes, length - beforeEnd);
    }
    mRead.moveTo(taken + length, offset + length, mSize);
    return true;
}

inline bool SharedRing::write(const void* source, size_t count, size_t unit) {
    if (!isMapped()) return false;
    const uint64_t taken = mRead.counter->load(std::memory_order_acquire);
    const uint64_t written = mWrite.counter->load(std::memory_order_relaxed);
    const uint64_t used = written - taken;
    if (used > mSize || count > (mSize - used) / unit) return false;
    if (count == 0) return true;
    const size_t length = count * unit;
    const size_t offset = mWrite.offsetAt(written, mSize);
    const size_t beforeEnd = mSize - offset;
    if (length <= beforeEnd) {
        memcpy(mBytes + offset, source, length);
    } else {
        memcpy(mBytes + offset, source, beforeEnd);
        memcpy(mBytes, static_cast<const unsigned char*>(source) + beforeEnd, length - beforeEnd);
    }
    mWrite.moveTo(written + length, offset + length, mSize);
    return true;
}

// The read counter first: it never passes the write counter, so the later load cannot be behind it.
inline uint64_t SharedRing::distance() const {
    const uint64_t taken = mRead.counter->load(std::memory_order_acquire);
    return mWrite.counter->load(std::memory_order_acquire) - taken;
}

inline size_t SharedRing::waiting() const {
    const uint64_t used = isMapped() ? distance() : 0;
    return used > mSize ? 0 : used;
}

inline size_t SharedRing::room() const {
    const uint64_t used = isMapped() ? distance() : 0;
    return used > mSize ? 0 : mSize - used;
}

}  // namespace android::details
