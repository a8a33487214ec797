#include <fmq/impl/SharedRing.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

namespace android::details {

// What the block covers for the first time is had with one call, for a fifth less than by a fault
// for each page; where the kernel (before 5.14) does not know the call, the faults come after all.
// A reader does without: it is given sixteen pages with each fault, and asking beforehand took
// longer.
void SharedRing::populate(size_t offset, size_t length) const {
    const size_t end = std::min(offset + length, mSize);
    if (end <= mPopulated) return;
    static const auto pageSize = static_cast<uintptr_t>(::sysconf(_SC_PAGESIZE));
    unsigned char* const first = mBytes + std::max(offset, mPopulated);
    const size_t beforeFirst = reinterpret_cast<uintptr_t>(first) % pageSize;
    ::madvise(first - beforeFirst, static_cast<size_t>(mBytes + end - first) + beforeFirst,
              MADV_POPULATE_WRITE);
    mPopulated = end;
}

}  // namespace android::details
