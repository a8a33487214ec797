// A queue descriptor of any values over real memory: the constructor accepts or refuses it, and an
// accepted queue can be used, even while its other end stores into the counters whatever it likes.
#include <fcntl.h>
#include <fmq/AidlMessageQueue.h>

#include <atomic>
#include <thread>

#include "Support.h"

namespace {

using ::aidl::android::hardware::common::fmq::MQDescriptor;
using ::aidl::android::hardware::common::fmq::SynchronizedReadWrite;
using fuzz::Input;
using fuzz::require;
using Queue = ::android::AidlMessageQueue<int8_t, SynchronizedReadWrite>;

constexpr size_t kMemory = 8192;

MQDescriptor<int8_t, SynchronizedReadWrite> takeDescriptor(Input* input, int memory) {
    MQDescriptor<int8_t, SynchronizedReadWrite> desc;
    const int fds[] = {memory, STDIN_FILENO, -1};
    for (const int fd : fds) {
        desc.handle.fds.emplace_back(fcntl(fd, F_DUPFD_CLOEXEC, 0));
    }
    desc.quantum = 1 + input->take<int16_t>();
    desc.flags = input->take<int16_t>();
    while (!input->isEmpty()) {
        // Short fields keep most values near the ones that matter; the last few bits widen them.
        const auto index = input->take<int16_t>();
        const auto offset = input->take<int16_t>();
        const auto extent = input->take<int16_t>();
        const auto shift = input->take<uint8_t>();
        desc.grantors.push_back({index, static_cast<int32_t>(offset) * (shift & 1 ? 65536 : 1),
                                 static_cast<int64_t>(extent) * (int64_t{1} << (shift >> 3))});
    }
    return desc;
}

void use(Queue* queue, size_t count) {
    std::vector<int8_t> bytes(count);
    const size_t waiting = queue->availableToRead();
    require(!queue->read(bytes.data(), count) || count <= waiting, "no more than waits is read");
    require(queue->availableToRead() <= queue->getQuantumCount(), "no more waits than fits");
    queue->write(bytes.data(), count);
}

// All that was accepted lies inside of the memory.
void requireInside(const MQDescriptor<int8_t, SynchronizedReadWrite>& desc) {
    for (size_t i = 0; i < std::min<size_t>(desc.grantors.size(), 4); ++i) {
        const auto& region = desc.grantors[i];
        require(region.fdIndex == 0 && region.offset >= 0 && region.extent >= 0 &&
                        region.extent <= int64_t{kMemory} - region.offset,
                "no region goes beyond its memory");
    }
}

// Reads while the peer stores a little and far too much into its counter, back and forth.
void useWithHostilePeer(Queue* queue, char* memory,
                        const MQDescriptor<int8_t, SynchronizedReadWrite>& desc) {
    const auto counter = [&](size_t role) {
        return reinterpret_cast<std::atomic<uint64_t>*>(memory + desc.grantors[role].offset);
    };
    std::atomic<bool> done{false};
    std::thread peer([&] {
        for (uint64_t i = 0; i < 5000; ++i) {
            counter(0)->store(0);
            counter(1)->store(i % 2 == 0 ? 1 : 1 << 20);
        }
        done = true;
    });
    std::vector<int8_t> bytes(kMemory);
    while (!done) {
        require(!queue->read(bytes.data(), kMemory), "more than the ring holds is never read");
    }
    peer.join();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const fuzz::ClientMemory memory(kMemory);
    const std::string counters = input.bytes(16);
    counters.copy(memory.bytes(), counters.size());
    const auto count = input.take<uint16_t>();
    const auto desc = takeDescriptor(&input, memory.fd());
    Queue queue(desc, false);
    if (!queue.isValid()) return 0;
    requireInside(desc);
    use(&queue, count);
    use(&queue, count / 2);
    Queue reset(queue.dupeDesc(), true);
    require(reset.isValid() && reset.availableToRead() == 0, "a queue that was reset is empty");
    use(&reset, count);
    if (count % 16 == 7) useWithHostilePeer(&queue, memory.bytes(), desc);
    return 0;
}
