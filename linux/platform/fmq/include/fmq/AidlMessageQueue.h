#pragma once

#include <aidl/android/hardware/common/fmq/MQDescriptor.h>
#include <aidl/android/hardware/common/fmq/SynchronizedReadWrite.h>
#include <fmq/impl/MessageQueueCore.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace android {

// A queue of elements T in shared memory, with one writer and one reader in different processes (or
// threads). Nothing here waits.
//
// The peer is not trusted: a descriptor is checked before it is used, and nothing that the peer
// stores in the shared memory moves an access out of the ring. Not copyable, not movable.
template <typename T, typename Flavor>
struct AidlMessageQueue final {
    using SynchronizedReadWrite = ::aidl::android::hardware::common::fmq::SynchronizedReadWrite;
    using Descriptor = ::aidl::android::hardware::common::fmq::MQDescriptor<T, Flavor>;
    static_assert(std::is_same_v<Flavor, SynchronizedReadWrite>, "the only flavour there is");
    static_assert(std::is_trivially_copyable_v<T>, "elements travel as bytes");

    // Joins the queue that `desc` describes, with duplicates of its descriptors. `resetPointers`
    // empties it for both ends. Its memory has to be of memfd_create, with F_SEAL_SHRINK set. A
    // descriptor that is refused leaves a queue that is not valid, and one line in the log.
    AidlMessageQueue(const Descriptor& desc,  // NOLINT(google-explicit-constructor): as on Android
                     bool resetPointers = true) {
        mCore.attach({desc.grantors.data(), desc.grantors.size(), desc.handle.fds.data(),
                      desc.handle.fds.size(), desc.quantum, desc.flags},
                     sizeof(T), resetPointers);
    }
    // Makes an empty queue for `numElementsInQueue` elements (1 to just under 2 GiB of them) in
    // memory of its own, which costs nothing until it is written to. Not valid when it cannot be
    // had.
    AidlMessageQueue(size_t numElementsInQueue,  // NOLINT(google-explicit-constructor): likewise
                     bool configureEventFlagWord = false) {
        mCore.create(numElementsInQueue, sizeof(T), configureEventFlagWord);
    }

    // On a queue that is not valid, the functions below return false, 0, null or an empty
    // descriptor.
    bool isValid() const { return mCore.isValid(); }

    // Takes exactly the next `count` elements, or nothing and returns false. Counters that make no
    // sense together also empty the queue. One reader at a time.
    bool read(T* data, size_t count) { return mCore.ring().read(data, count, sizeof(T)); }
    // Puts all `count` elements, or nothing and returns false. One writer at a time.
    bool write(const T* data, size_t count) { return mCore.ring().write(data, count, sizeof(T)); }

    // Elements that lie side by side in the ring. A null address when there are none.
    struct MemRegion {
        MemRegion() = default;
        MemRegion(T* base, size_t size) : address(base), length(size) {}
        T* getAddress() const { return address; }
        size_t getLength() const { return length; }
        size_t getLengthInBytes() const { return length * sizeof(T); }

      private:
        T* address = nullptr;
        size_t length = 0;
    };
    // Elements that may wrap at the ring's end: the second region goes on where the first ends.
    struct MemTransaction {
        MemTransaction() = default;
        MemTransaction(const MemRegion& regionFirst, const MemRegion& regionSecond)
            : first(regionFirst), second(regionSecond) {}
        const MemRegion& getFirstRegion() const { return first; }
        const MemRegion& getSecondRegion() const { return second; }

      private:
        MemRegion first;
        MemRegion second;
    };

    // Read and write in two steps, without a copy: the first tells where the elements lie, or are
    // to be put; the second says how many of them were taken, or put. They fail as read and write
    // do, with `*memTx` empty. A peer that breaks the rules may change what is in there meanwhile.
    bool beginRead(size_t nMessages, MemTransaction* memTx) const {
        details::SharedRing::Block block;
        const bool begun = mCore.ring().beginRead(nMessages, sizeof(T), &block);
        *memTx = transactionOf(block);
        return begun;
    }
    bool beginWrite(size_t nMessages, MemTransaction* memTx) const {
        details::SharedRing::Block block;
        const bool begun = mCore.ring().beginWrite(nMessages, sizeof(T), &block);
        *memTx = transactionOf(block);
        return begun;
    }
    bool commitRead(size_t nMessages) { return mCore.ring().commitRead(nMessages * sizeof(T)); }
    bool commitWrite(size_t nMessages) { return mCore.ring().commitWrite(nMessages * sizeof(T)); }

    // Elements. The peer may have moved on before the caller looks at the answer.
    size_t availableToRead() const { return mCore.ring().readable() / sizeof(T); }
    size_t availableToWrite() const { return mCore.ring().writable() / sizeof(T); }

    // Elements that the ring holds, and bytes of one element (also without a ring).
    size_t getQuantumCount() const { return mCore.ring().size() / sizeof(T); }
    size_t getQuantumSize() const { return sizeof(T); }

    // The word for a hardware::EventFlag, or null where the queue has none. Belongs to the queue.
    std::atomic<uint32_t>* getEventFlagWord() const { return mCore.eventFlagWord(); }

    // A descriptor of this queue, with duplicates of its descriptors that the caller owns. Empty
    // when they cannot be made.
    Descriptor dupeDesc() {
        Descriptor desc;
        if (mCore.dupe(&desc.grantors, &desc.handle, &desc.flags)) desc.quantum = sizeof(T);
        return desc;
    }

  private:
    static MemTransaction transactionOf(const details::SharedRing::Block& block) {
        return {{reinterpret_cast<T*>(block.first), block.firstLength / sizeof(T)},
                {reinterpret_cast<T*>(block.second), block.secondLength / sizeof(T)}};
    }

    details::MessageQueueCore mCore;
};

}  // namespace android
