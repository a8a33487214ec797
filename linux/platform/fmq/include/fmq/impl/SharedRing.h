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

    // Where the ring's bytes are: mapped, and as a part of a file.
    struct Place {
        unsigned char* bytes;
        size_t size;  // not 0
        int fd;
        uint64_t offset;
    };
    // Borrows counters, bytes and descriptor until the next map or unmap.
    void map(Counter* readCounter, Counter* writeCounter, const Place& place);
    void unmap() { *this = SharedRing(); }
    bool isMapped() const { return mBytes != nullptr; }
    size_t size() const { return mSize; }
    // Empties the ring for both ends.
    void reset();

    // A block of the ring: up to the ring's end, and on from its start where it wraps. Null and 0
    // for a part that is not there.
    struct Block {
        unsigned char* first = nullptr;
        size_t firstLength = 0;
        unsigned char* second = nullptr;
        size_t secondLength = 0;
    };

    // Move exactly `count` elements and return true, or nothing and return false. Where the
    // counters are further apart than the ring is long, a read also drops what is waiting.
    bool read(void* target, size_t count, size_t elementSize);
    bool write(const void* source, size_t count, size_t elementSize);

    // The same in two steps: where the elements lie, or are to be put, and then that it was done.
    // Until then the block belongs to the caller, and the counters stay as they are.
    bool beginRead(size_t count, size_t elementSize, Block* block) const;
    bool beginWrite(size_t count, size_t elementSize, Block* block) const;
    // No more bytes than the block has.
    bool commitRead(size_t length) { return commit(&mRead, length); }
    bool commitWrite(size_t length) { return commit(&mWrite, length); }

    // Bytes; 0 where the counters are further apart than the ring is long.
    size_t readable() const;
    size_t writable() const;

  private:
    static constexpr size_t kLargeBlock = size_t{256} << 10;

    // A counter's value, and where in the ring that is.
    struct Position {
        uint64_t count;
        size_t offset;
    };

    // One end of the ring: its shared counter, and where this process last left it.
    //
    // The remembered position saves a 64-bit division per operation. It also carries a ring whose
    // size is no power of two over the counter's wrap at 2^64, where the remainder would jump and
    // land on bytes that are still unread.
    struct End {
        Counter* counter = nullptr;
        Position last = {0, 0};

        size_t offsetAt(uint64_t count, size_t size) const {
            return count == last.count ? last.offset : count % size;
        }
        // `length` is not more than `size`.
        void advance(Position from, size_t length, size_t size) {
            const size_t offset = from.offset + length;
            last.count = from.count + length;
            last.offset = offset >= size ? offset - size : offset;
            counter->store(last.count, std::memory_order_release);
        }
    };

    // Where `count` elements can be read or written; false when they cannot, or when that place is
    // not the beginning of an element.
    bool findReadable(size_t count, size_t elementSize, Position* at) const;
    bool findWritable(size_t count, size_t elementSize, Position* at) const;
    Block blockAt(size_t offset, size_t length) const;
    // What most messages are: they are copied without a further call.
    bool isShort(size_t offset, size_t length) const {
        return length < kLargeBlock && length <= mSize - offset;
    }
    // Copy any other block.
    void copyOut(void* target, size_t offset, size_t length);
    void copyIn(const void* source, size_t offset, size_t length);
    // Has the kernel copy a block that was never read here. False when it was, or it cannot.
    bool fetch(void* target, const Block& block);
    // Gets the memory of a block that is about to be written to.
    void populate(size_t offset, size_t length);
    bool commit(End* end, size_t length) const;

    // Distance of the counters; more than mSize when they make no sense together.
    uint64_t distance() const;

    End mRead;
    End mWrite;
    unsigned char* mBytes = nullptr;
    size_t mSize = 0;
    int mFd = -1;
    uint64_t mFdOffset = 0;  // of the ring's beginning
    size_t mPopulated = 0;   // bytes from the ring's beginning that were written to here
    size_t mFetched = 0;     // and that were read here
};

inline void SharedRing::map(Counter* readCounter, Counter* writeCounter, const Place& place) {
    mRead = {readCounter, {0, 0}};
    mWrite = {writeCounter, {0, 0}};
    mBytes = place.bytes;
    mSize = place.size;
    mFd = place.fd;
    mFdOffset = place.offset;
}

inline void SharedRing::reset() {
    mRead.advance({0, 0}, 0, mSize);
    mWrite.advance({0, 0}, 0, mSize);
}

inline bool SharedRing::findReadable(size_t count, size_t elementSize, Position* at) const {
    if (!isMapped()) return false;
    const uint64_t written = mWrite.counter->load(std::memory_order_acquire);
    const uint64_t taken = mRead.counter->load(std::memory_order_relaxed);
    const uint64_t available = written - taken;
    if (available > mSize) {
        mRead.counter->store(written, std::memory_order_release);
        return false;
    }
    if (count > available / elementSize) return false;
    *at = {taken, mRead.offsetAt(taken, mSize)};
    return at->offset % elementSize == 0;
}

inline bool SharedRing::findWritable(size_t count, size_t elementSize, Position* at) const {
    if (!isMapped()) return false;
    const uint64_t taken = mRead.counter->load(std::memory_order_acquire);
    const uint64_t written = mWrite.counter->load(std::memory_order_relaxed);
    const uint64_t used = written - taken;
    if (used > mSize || count > (mSize - used) / elementSize) return false;
    *at = {written, mWrite.offsetAt(written, mSize)};
    return at->offset % elementSize == 0;
}

inline bool SharedRing::read(void* target, size_t count, size_t elementSize) {
    Position at;
    if (!findReadable(count, elementSize, &at)) return false;
    if (count == 0) return true;
    const size_t length = count * elementSize;
    if (isShort(at.offset, length)) {
        memcpy(target, mBytes + at.offset, length);
    } else {
        copyOut(target, at.offset, length);
    }
    mRead.advance(at, length, mSize);
    return true;
}

inline bool SharedRing::write(const void* source, size_t count, size_t elementSize) {
    Position at;
    if (!findWritable(count, elementSize, &at)) return false;
    if (count == 0) return true;
    const size_t length = count * elementSize;
    if (isShort(at.offset, length)) {
        memcpy(mBytes + at.offset, source, length);
    } else {
        copyIn(source, at.offset, length);
    }
    mWrite.advance(at, length, mSize);
    return true;
}

inline bool SharedRing::beginRead(size_t count, size_t elementSize, Block* block) const {
    Position at;
    if (!findReadable(count, elementSize, &at)) return false;
    *block = blockAt(at.offset, count * elementSize);
    return true;
}

inline bool SharedRing::beginWrite(size_t count, size_t elementSize, Block* block) const {
    Position at;
    if (!findWritable(count, elementSize, &at)) return false;
    *block = blockAt(at.offset, count * elementSize);
    return true;
}

inline bool SharedRing::commit(End* end, size_t length) const {
    if (!isMapped() || length > mSize) return false;
    const uint64_t count = end->counter->load(std::memory_order_relaxed);
    end->advance({count, end->offsetAt(count, mSize)}, length, mSize);
    return true;
}

inline SharedRing::Block SharedRing::blockAt(size_t offset, size_t length) const {
    const size_t beforeEnd = mSize - offset;
    if (length <= beforeEnd) return {mBytes + offset, length, nullptr, 0};
    return {mBytes + offset, beforeEnd, mBytes, length - beforeEnd};
}

// The read counter first: it never passes the write counter, so the later load cannot be behind it.
inline uint64_t SharedRing::distance() const {
    const uint64_t taken = mRead.counter->load(std::memory_order_acquire);
    return mWrite.counter->load(std::memory_order_acquire) - taken;
}

inline size_t SharedRing::readable() const {
    const uint64_t used = isMapped() ? distance() : 0;
    return used > mSize ? 0 : used;
}

inline size_t SharedRing::writable() const {
    const uint64_t used = isMapped() ? distance() : 0;
    return used > mSize ? 0 : mSize - used;
}

}  // namespace android::details
