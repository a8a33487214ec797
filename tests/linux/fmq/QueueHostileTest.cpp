// A peer that scribbles over the shared memory while this process uses the queue.
#include <sched.h>

#include <algorithm>
#include <cstring>

#include "ChildProcess.h"
#include "QueueSupport.h"

namespace queue_test {
namespace {

constexpr size_t kRing = 4001;  // no power of two, and not up to the end of the page
constexpr size_t kBehind = sizeof(RawView::Page::ring) - kRing;
constexpr size_t kMargin = 32;  // behind the room for a message
constexpr uint8_t kCanary = 0xA5;

// One value for a counter: near enough to the other one to be believed, or anything at all.
uint64_t anyCounter(uint64_t other) {
    const uint64_t values[] = {other + anyNumber() % (kRing + 2), other - anyNumber() % 3,
                               UINT64_MAX - anyNumber() % (2 * kRing), anyNumber()};
    return values[anyNumber() % 4];
}

// The ring never holds a canary.
[[noreturn]] void scribble(const RawView& raw) {
    for (;;) {
        raw->writeCounter = anyCounter(raw->readCounter);
        if (anyNumber() % 2 == 0) raw->readCounter = anyCounter(raw->writeCounter);
        raw->ring[anyNumber() % kRing] = static_cast<uint8_t>(anyNumber() % kCanary);
    }
}

bool isCanary(int8_t byte) {
    return static_cast<uint8_t>(byte) == kCanary;
}

// Messages of many sizes while the peer is at work; a read fails and succeeds only as long as it
// is.
TEST(HostilePeer, CannotMakeTheQueueLeaveItsRingOrTheBuffer) {
    Queue queue(kRing);
    const RawView raw(queue);
    memset(raw->ring + kRing, kCanary, kBehind);
    const support::ChildProcess peer([&raw]() -> int { scribble(raw); });
    while (raw->writeCounter == 0) sched_yield();
    const std::vector<int8_t> source(2 * kRing, 1);
    size_t outcomes[2] = {};
    for (size_t i = 0; i < 1000000 || std::min(outcomes[0], outcomes[1]) < 1000; ++i) {
        const size_t count = 1 + anyNumber() % (i % 64 == 0 ? 2 * kRing : 64);
        queue.write(source.data(), count);
        std::vector<int8_t> target(count + kMargin, static_cast<int8_t>(kCanary));
        const bool read = queue.read(target.data(), count);
        ++outcomes[read ? 1 : 0];
        const auto came = target.begin() + static_cast<ptrdiff_t>(read ? count : 0);
        ASSERT_TRUE(std::none_of(target.begin(), came, isCanary));
        ASSERT_TRUE(std::all_of(came, target.end(), isCanary));
        ASSERT_LE(std::max(queue.availableToRead(), queue.availableToWrite()), kRing);
    }
    EXPECT_TRUE(std::all_of(raw->ring + kRing, raw->ring + kRing + kBehind, isCanary));
}

}  // namespace
}  // namespace queue_test
