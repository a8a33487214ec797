#include <fcntl.h>
#include <fmq/impl/QueueMemory.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Diagnostics.h"

namespace android::details {

namespace {

constexpr const char* kNames[] = {"read counter", "write counter", "ring", "event flag"};

// The counters and the ring where the queue library has always put them; a futex needs but 4.
constexpr int32_t kAlignment[] = {8, 8, 8, 4};

int64_t shortestExtent(size_t role, size_t elementSize) {
    constexpr int64_t kShortest[] = {sizeof(uint64_t), sizeof(uint64_t), 0, sizeof(uint32_t)};
    return role == QueueMemory::kRing ? static_cast<int64_t>(elementSize) : kShortest[role];
}

bool hasNegativeValue(const DescriptorView& view) {
    const auto isNegative = [](const GrantorDescriptor& grantor) {
        return grantor.fdIndex < 0 || grantor.offset < 0 || grantor.extent < 0;
    };
    return view.quantum < 0 || view.flags < 0 ||
           std::any_of(view.grantors, view.grantors + view.grantorCount, isNegative);
}

bool checkRegion(size_t role, const DescriptorView& view, size_t elementSize) {
    const GrantorDescriptor& grantor = view.grantors[role];
    if (static_cast<size_t>(grantor.fdIndex) >= view.fdCount) {
        return refuse("%s: there is no descriptor %d", kNames[role], grantor.fdIndex);
    }
    if (grantor.offset % kAlignment[role] != 0) {
        return refuse("%s: offset %d is not aligned", kNames[role], grantor.offset);
    }
    const bool whole =
            role != QueueMemory::kRing || static_cast<uint64_t>(grantor.extent) % elementSize == 0;
    if (grantor.extent < shortestExtent(role, elementSize) || !whole) {
        return refuse("%s: %lld bytes are not its size", kNames[role],
                      static_cast<long long>(grantor.extent));
    }
    return true;
}

bool checkValues(const DescriptorView& view, size_t elementSize) {
    if (hasNegativeValue(view)) return refuse("the descriptor has a negative value");
    if (view.grantorCount <= QueueMemory::kRing) {
        return refuse("the descriptor has %zu regions, at least 3 are needed", view.grantorCount);
    }
    if (static_cast<size_t>(view.quantum) != elementSize) {
        return refuse("elements are of %zu bytes, not %d", elementSize, view.quantum);
    }
    const size_t used = std::min<size_t>(view.grantorCount, QueueMemory::kRoles);
    for (size_t role = 0; role < used; ++role) {
        if (!checkRegion(role, view, elementSize)) return false;
    }
    return true;
}

}  // namespace

bool QueueMemory::attach(const DescriptorView& view, size_t elementSize) {
    return checkValues(view, elementSize) && openMemories(view) && checkPlaces() && mapMemories();
}

void QueueMemory::release() {
    for (SharedMemory& memory : mMemories) memory.release();
    mMemoryCount = 0;
    mRegionCount = 0;
}

bool QueueMemory::openMemories(const DescriptorView& view) {
    mRegionCount = std::min<size_t>(view.grantorCount, kRoles);
    for (size_t role = 0; role < mRegionCount; ++role) {
        if (!openMemoryOf(role, view)) return false;
    }
    return true;
}

// Regions that name the same descriptor share one duplicate and one mapping.
bool QueueMemory::openMemoryOf(size_t role, const DescriptorView& view) {
    Region& region = mRegions[role];
    region.grantor = view.grantors[role];
    for (size_t earlier = 0; earlier < role; ++earlier) {
        if (view.grantors[earlier].fdIndex != view.grantors[role].fdIndex) continue;
        region.memory = mRegions[earlier].memory;
        return true;
    }
    region.memory = mMemoryCount++;
    return mMemories[region.memory].open(view.fds[region.grantor.fdIndex].get());
}

bool QueueMemory::checkPlaces() const {
    for (size_t role = 0; role < mRegionCount; ++role) {
        if (!checkPlace(role)) return false;
    }
    return true;
}

// The extent is compared before it is added to anything: the sum could overflow.
bool QueueMemory::checkPlace(size_t role) const {
    const SharedMemory& memory = mMemories[mRegions[role].memory];
    if (offset(role) > memory.size() || extent(Role(role)) > memory.size() - offset(role)) {
        return refuse("%s: %d and %zu are beyond the %llu bytes of its memory", kNames[role],
                      mRegions[role].grantor.offset, extent(Role(role)),
                      static_cast<unsigned long long>(memory.size()));
    }
    for (size_t other = 0; other < role; ++other) {
        if (memory.isSameAs(mMemories[mRegions[other].memory]) && offset(role) < end(other) &&
            offset(other) < end(role)) {
            return refuse("%s and %s overlap", kNames[other], kNames[role]);
        }
    }
    return true;
}

// One mapping per memory, from its first region to its last: a mapping costs more than the gap.
bool QueueMemory::mapMemories() {
    for (size_t memory = 0; memory < mMemoryCount; ++memory) {
        uint64_t first = UINT64_MAX;
        uint64_t last = 0;
        for (size_t role = 0; role < mRegionCount; ++role) {
            if (mRegions[role].memory != memory) continue;
            first = std::min(first, offset(role));
            last = std::max(last, end(role));
        }
        if (!mMemories[memory].map(first, last)) return false;
    }
    return true;
}

bool QueueMemory::dupe(std::vector<GrantorDescriptor>* grantors, NativeHandle* handle) const {
    for (size_t memory = 0; memory < mMemoryCount; ++memory) {
        handle->fds.emplace_back(fcntl(mMemories[memory].fd(), F_DUPFD_CLOEXEC, 0));
        if (handle->fds.back().get() < 0) {
            return refuse("cannot duplicate a descriptor: %s", strerror(errno));
        }
    }
    for (size_t role = 0; role < mRegionCount; ++role) {
        grantors->push_back(mRegions[role].grantor);
        grantors->back().fdIndex = static_cast<int32_t>(mRegions[role].memory);
    }
    return true;
}

}  // namespace android::details
