#include <fmq/impl/MessageQueueCore.h>
#include <unistd.h>

#include "Diagnostics.h"

namespace android::details {

namespace {

constexpr int32_t kSynchronizedFlags = 1;
constexpr int32_t kCounterSize = sizeof(uint64_t);
// Behind the ring comes the event flag, and its offset has to fit into 31 bits; a page lies before.
constexpr size_t kLongestRing = INT32_MAX - 0x10000 - 64;

size_t alignedUp(size_t value) {
    return (value + kCounterSize - 1) / kCounterSize * kCounterSize;
}

// A ring that is longer than a page begins with one: what copies a file into it fills whole pages
// then, which the kernel does not have to clear before.
size_t ringOffset(size_t length) {
    static const auto pageSize = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    return length > pageSize ? pageSize : size_t{2} * kCounterSize;
}

}  // namespace

void MessageQueueCore::attach(const DescriptorView& view, size_t elementSize, bool reset) {
    if (!attachOrFail(view, elementSize)) {
        release();
        return;
    }
    if (reset) mRing.reset();
}

bool MessageQueueCore::attachOrFail(const DescriptorView& view, size_t elementSize) {
    if (!mMemory.attach(view, elementSize)) return false;
    mFlags = view.flags;
    const auto counterAt = [this](QueueMemory::Role role) {
        return reinterpret_cast<SharedRing::Counter*>(mMemory.at(role));
    };
    mRing.map(counterAt(QueueMemory::kReadCounter), counterAt(QueueMemory::kWriteCounter),
              mMemory.ring());
    if (!mMemory.has(QueueMemory::kEventFlag)) return true;
    return hardware::EventFlag::createEventFlag(eventFlagWord(), &mEventFlag) == NO_ERROR ||
           refuse("cannot create the event flag");
}

void MessageQueueCore::create(size_t count, size_t elementSize, bool withEventFlag) {
    if (count == 0 || count > kLongestRing / elementSize) {
        refuse("a ring of %zu elements of %zu bytes", count, elementSize);
        return;
    }
    const size_t length = count * elementSize;
    const size_t offset = ringOffset(length);
    const size_t eventFlagOffset = alignedUp(offset + length);
    const GrantorDescriptor grantors[] = {
            {0, 0, kCounterSize},
            {0, kCounterSize, kCounterSize},
            {0, static_cast<int32_t>(offset), static_cast<int64_t>(length)},
            {0, static_cast<int32_t>(eventFlagOffset), sizeof(uint32_t)},
    };
    const ::ndk::ScopedFileDescriptor fd =
            SharedMemory::create(eventFlagOffset + (withEventFlag ? sizeof(uint32_t) : 0));
    if (fd.get() < 0) return;
    attach({grantors, withEventFlag ? size_t{4} : size_t{3}, &fd, 1,
            static_cast<int32_t>(elementSize), kSynchronizedFlags},
           elementSize, true);
}

std::atomic<uint32_t>* MessageQueueCore::eventFlagWord() const {
    if (!isValid() || !mMemory.has(QueueMemory::kEventFlag)) return nullptr;
    return reinterpret_cast<std::atomic<uint32_t>*>(mMemory.at(QueueMemory::kEventFlag));
}

bool MessageQueueCore::dupe(std::vector<GrantorDescriptor>* grantors, NativeHandle* handle,
                            int32_t* flags) const {
    if (!isValid() || !mMemory.dupe(grantors, handle)) {
        handle->fds.clear();
        return false;
    }
    *flags = mFlags;
    return true;
}

void MessageQueueCore::release() {
    if (mEventFlag != nullptr) hardware::EventFlag::deleteEventFlag(&mEventFlag);
    mRing.unmap();
    mMemory.release();
}

}  // namespace android::details
