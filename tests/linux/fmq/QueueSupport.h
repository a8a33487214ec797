// Both ends of a queue, and a look at its memory by hand.
#pragma once

#include <fmq/AidlMessageQueue.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

namespace queue_test {

using ::aidl::android::hardware::common::fmq::GrantorDescriptor;
using ::aidl::android::hardware::common::fmq::SynchronizedReadWrite;
using Queue = ::android::AidlMessageQueue<int8_t, SynchronizedReadWrite>;
using Descriptor = Queue::Descriptor;

// A queue's first page, as a peer sees it that keeps to no rule.
class RawView {
  public:
    struct Page {
        std::atomic<uint64_t> readCounter;
        std::atomic<uint64_t> writeCounter;
        uint8_t ring[4096 - 16];
    };

    explicit RawView(Queue& queue) {
        const Descriptor desc = queue.dupeDesc();
        void* base = mmap(nullptr, sizeof(Page), PROT_READ | PROT_WRITE, MAP_SHARED,
                          desc.handle.fds[0].get(), 0);
        if (base == MAP_FAILED) abort();
        mPage = static_cast<Page*>(base);
    }
    ~RawView() { munmap(mPage, sizeof(Page)); }
    RawView(const RawView&) = delete;
    RawView& operator=(const RawView&) = delete;

    Page* operator->() const { return mPage; }

  private:
    Page* mPage;
};

// The same numbers in every run, so that a failure can be looked at again.
inline uint64_t anyNumber() {
    static std::mt19937_64 engine{1};
    return engine();
}

// The bytes number `first` and on of a stream that both ends can compute.
inline std::vector<int8_t> streamBytes(uint64_t first, size_t count) {
    std::vector<int8_t> bytes(count);
    for (size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<int8_t>((first + i) * 2654435761U >> 13);
    }
    return bytes;
}

}  // namespace queue_test
