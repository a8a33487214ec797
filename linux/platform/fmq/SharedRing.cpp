#include <fmq/impl/SharedRing.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

namespace android::details {

void SharedRing::copyOut(void* target, size_t offset, size_t length) {
    const Block block = blockAt(offset, length);
    if (length >= kLargeBlock && fetch(target, block)) return;
    memcpy(target, block.first, block.firstLength);
    if (block.second == nullptr) return;
    memcpy(static_cast<unsigned char*>(target) + block.firstLength, block.second,
           block.secondLength);
}

void SharedRing::copyIn(const void* source, size_t offset, size_t length) {
    if (length >= kLargeBlock) populate(offset, length);
    const Block block = blockAt(offset, length);
    memcpy(block.first, source, block.firstLength);
    if (block.second == nullptr) return;
    memcpy(block.second, static_cast<const unsigned char*>(source) + block.firstLength,
           block.secondLength);
}

// What the block covers for the first time is had with one call, for a fifth less than by a fault
// for each page; where the kernel (before 5.14) does not know the call, the faults come after all.
void SharedRing::populate(size_t offset, size_t length) {
    const size_t end = std::min(offset + length, mSize);
    if (end <= mPopulated) return;
    static const auto pageSize = static_cast<uintptr_t>(::sysconf(_SC_PAGESIZE));
    unsigned char* const first = mBytes + std::max(offset, mPopulated);
    const size_t beforeFirst = reinterpret_cast<uintptr_t>(first) % pageSize;
    ::madvise(first - beforeFirst, static_cast<size_t>(mBytes + end - first) + beforeFirst,
              MADV_POPULATE_WRITE);
    mPopulated = end;
}

// By the descriptor no page fault is taken and no page table is filled, only to be emptied again
// when the queue goes: for a block that is read once that is half of the time. What comes by a
// second time goes through the mapping, which is the fastest once it is there.
bool SharedRing::fetch(void* target, const Block& block) {
    const auto offset = static_cast<size_t>(block.first - mBytes);
    if (offset < mFetched || block.second != nullptr) return false;
    const ssize_t count =
            ::pread(mFd, target, block.firstLength, static_cast<off_t>(mFdOffset + offset));
    if (count != static_cast<ssize_t>(block.firstLength)) return false;
    mFetched = offset + block.firstLength;
    return true;
}

}  // namespace android::details
