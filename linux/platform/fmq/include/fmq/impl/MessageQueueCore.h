#pragma once

#include <fmq/EventFlag.h>
#include <fmq/impl/QueueMemory.h>
#include <fmq/impl/SharedRing.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace android::details {

// A message queue of elements whose type it does not know. Owns its mappings, descriptors and event
// flag. Whatever fails is logged, and leaves a queue that is not valid and holds nothing.
class MessageQueueCore final {
  public:
    MessageQueueCore() = default;
    ~MessageQueueCore() { release(); }
    MessageQueueCore(const MessageQueueCore&) = delete;
    MessageQueueCore& operator=(const MessageQueueCore&) = delete;

    // Joins the queue that `view` describes; `reset` empties it. At most once, instead of create.
    void attach(const DescriptorView& view, size_t elementSize, bool reset);
    // Makes an empty queue for `count` elements of `elementSize` bytes in memory of its own.
    void create(size_t count, size_t elementSize, bool withEventFlag);

    bool isValid() const { return mRing.isMapped(); }
    SharedRing& ring() { return mRing; }
    const SharedRing& ring() const { return mRing; }
    // Null where the queue has none. Belongs to the queue.
    std::atomic<uint32_t>* eventFlagWord() const;

    // Fills a descriptor's fields, or none of them when it fails. May throw std::bad_alloc.
    bool dupe(std::vector<GrantorDescriptor>* grantors, NativeHandle* handle, int32_t* flags) const;

  private:
    bool attachOrFail(const DescriptorView& view, size_t elementSize);
    void release();

    QueueMemory mMemory;
    SharedRing mRing;
    hardware::EventFlag* mEventFlag = nullptr;
    int32_t mFlags = 0;
};

}  // namespace android::details
