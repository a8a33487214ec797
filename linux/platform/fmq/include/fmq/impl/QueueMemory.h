#pragma once

#include <aidl/android/hardware/common/NativeHandle.h>
#include <aidl/android/hardware/common/fmq/GrantorDescriptor.h>
#include <fmq/impl/SharedMemory.h>
#include <fmq/impl/SharedRing.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace android::details {

using ::aidl::android::hardware::common::NativeHandle;
using ::aidl::android::hardware::common::fmq::GrantorDescriptor;

// The fields of a queue descriptor, whatever its element type and flavour. Borrows them.
struct DescriptorView {
    const GrantorDescriptor* grantors;
    size_t grantorCount;
    const ::ndk::ScopedFileDescriptor* fds;
    size_t fdCount;
    int32_t quantum;
    int32_t flags;
};

// The regions of one queue, checked and mapped. Functions that return a bool log what was wrong
// when they return false. No function here allocates from the heap, but for dupe.
class QueueMemory final {
  public:
    // What a region is for; its place in the descriptor's list of grantors.
    enum Role : size_t { kReadCounter, kWriteCounter, kRing, kEventFlag, kRoles };

    // Maps what a peer describes, for elements of `elementSize` bytes; regions after the fourth are
    // ignored. Trusts none of its values. When it fails, some of it may be held until release.
    bool attach(const DescriptorView& view, size_t elementSize);
    void release();

    bool has(Role role) const { return role < mRegionCount; }
    // has(role) must hold.
    unsigned char* at(Role role) const { return mMemories[mRegions[role].memory].at(offset(role)); }
    size_t extent(Role role) const { return static_cast<size_t>(mRegions[role].grantor.extent); }
    // What it names stays this object's.
    SharedRing::Place ring() const {
        return {at(kRing), extent(kRing), mMemories[mRegions[kRing].memory].fd(), offset(kRing)};
    }

    // Describes the same regions with duplicates of the descriptors. May throw std::bad_alloc.
    bool dupe(std::vector<GrantorDescriptor>* grantors, NativeHandle* handle) const;

  private:
    struct Region {
        GrantorDescriptor grantor;
        size_t memory = 0;  // index into mMemories
    };

    uint64_t offset(size_t role) const {
        return static_cast<uint64_t>(mRegions[role].grantor.offset);
    }
    uint64_t end(size_t role) const { return offset(role) + extent(static_cast<Role>(role)); }

    bool openMemories(const DescriptorView& view);
    bool openMemoryOf(size_t role, const DescriptorView& view);
    bool checkPlaces() const;
    bool checkPlace(size_t role) const;
    bool mapMemories();

    std::array<Region, kRoles> mRegions;
    size_t mRegionCount = 0;
    std::array<SharedMemory, kRoles> mMemories;
    size_t mMemoryCount = 0;
};

}  // namespace android::details
