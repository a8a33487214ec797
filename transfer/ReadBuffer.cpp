#include "ReadBuffer.h"

#include <sys/mman.h>

#include <cstdlib>

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

// From here on a mapping of its own pays.
constexpr size_t kLargeBlock = size_t{16} << 20;
constexpr size_t kHugePage = size_t{2} << 20;

size_t roundedUp(size_t value) {
    return (value + kHugePage - 1) / kHugePage * kHugePage;
}

}  // namespace

ReadBuffer::ReadBuffer(size_t size) {
    if (size >= kLargeBlock) {
        map(size);
    } else {
        mData = static_cast<int8_t*>(std::calloc(size, 1));
    }
}

ReadBuffer::~ReadBuffer() {
    if (mMapping != nullptr) {
        ::munmap(mMapping, mMapped);
    } else {
        std::free(mData);
    }
}

// Asks for huge pages: filling memory that comes in pages of 4 KiB takes longer than the copy, half
// of it for one page fault each. Where the kernel has none to give the request is one system call
// in vain, and the faults are those of calloc. At most 4 MiB are mapped beyond the size, to begin
// and to end with a whole huge page; less than 2 MiB of them are ever filled.
void ReadBuffer::map(size_t size) {
    const size_t length = roundedUp(size) + kHugePage;
    void* mapping =
            ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) return;
    ::madvise(mapping, length, MADV_HUGEPAGE);
    mMapping = mapping;
    mMapped = length;
    const auto address = reinterpret_cast<uintptr_t>(mapping);
    mData = static_cast<int8_t*>(mapping) + (roundedUp(address) - address);
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
