// What a queue promises to ends that keep to the rules, and what it makes of counters that do not.
#include <fcntl.h>
#include <fmq/EventFlag.h>
#include <sched.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <thread>
#include <type_traits>

#include "ChildProcess.h"
#include "QueueSupport.h"

namespace queue_test {
namespace {

static_assert(!std::is_copy_constructible_v<Queue> && std::is_final_v<Queue>);

bool writeInTwoSteps(Queue& queue, const std::vector<int8_t>& bytes) {
    Queue::MemTransaction parts;
    if (!queue.beginWrite(bytes.size(), &parts)) return false;
    const auto middle = bytes.begin() + static_cast<ptrdiff_t>(parts.getFirstRegion().getLength());
    std::copy(bytes.begin(), middle, parts.getFirstRegion().getAddress());
    std::copy(middle, bytes.end(), parts.getSecondRegion().getAddress());
    return queue.commitWrite(bytes.size());
}

bool readInTwoSteps(Queue& queue, std::vector<int8_t>* bytes) {
    Queue::MemTransaction parts;
    if (!queue.beginRead(bytes->size(), &parts)) return false;
    bytes->clear();
    for (const auto& part : {parts.getFirstRegion(), parts.getSecondRegion()}) {
        bytes->insert(bytes->end(), part.getAddress(), part.getAddress() + part.getLength());
    }
    return queue.commitRead(bytes->size());
}

// Every other block in two steps.
bool writeStream(Queue& queue, uint64_t first, size_t count) {
    const std::vector<int8_t> bytes = streamBytes(first, count);
    return first % 2 == 0 ? queue.write(bytes.data(), count) : writeInTwoSteps(queue, bytes);
}

void expectStream(Queue& queue, uint64_t first, size_t count) {
    std::vector<int8_t> bytes(count);
    ASSERT_TRUE(first % 2 == 0 ? queue.read(bytes.data(), count) : readInTwoSteps(queue, &bytes));
    EXPECT_EQ(bytes, streamBytes(first, count)) << "at byte " << first;
}

TEST(Queue, MovesWholeBlocksOrNothing) {
    Queue queue(100);
    std::vector<int8_t> untouched(101, 42);
    EXPECT_TRUE(queue.read(nullptr, 0) && queue.write(nullptr, 0));
    EXPECT_FALSE(queue.read(untouched.data(), 1) || writeStream(queue, 0, 101));
    EXPECT_TRUE(writeStream(queue, 0, 100));
    EXPECT_FALSE(writeStream(queue, 100, 1) || queue.read(untouched.data(), 101));
    EXPECT_EQ(queue.availableToWrite(), 0U);
    expectStream(queue, 0, 60);
    EXPECT_FALSE(queue.read(untouched.data(), 41));
    EXPECT_EQ(untouched, std::vector<int8_t>(101, 42));
    expectStream(queue, 60, 40);
}

TEST(Queue, CountsInElements) {
    using Element = std::array<uint64_t, 2>;
    ::android::AidlMessageQueue<Element, SynchronizedReadWrite> queue(3);
    EXPECT_TRUE(queue.getQuantumCount() == 3 && queue.getQuantumSize() == 16);
    const Element elements[] = {{1, 2}, {3, 4}};
    ASSERT_TRUE(queue.write(elements, 2));
    EXPECT_TRUE(queue.availableToRead() == 2 && queue.availableToWrite() == 1);
    Element read[2] = {};
    EXPECT_FALSE(queue.read(read, SIZE_MAX / 16 + 2));
    decltype(queue)::MemTransaction parts;
    ASSERT_TRUE(queue.beginRead(2, &parts));
    EXPECT_EQ(parts.getFirstRegion().getLengthInBytes(), 32U);
    EXPECT_EQ(parts.getSecondRegion().getAddress(), nullptr);
    EXPECT_EQ(*parts.getFirstRegion().getAddress(), elements[0]);
    ASSERT_TRUE(queue.read(read, 2));
    EXPECT_EQ(read[1], elements[1]);
    auto desc = queue.dupeDesc();
    desc.grantors[2].extent -= 8;  // part of an element
    EXPECT_FALSE(decltype(queue)(desc).isValid());
}

TEST(Queue, CannotBeMadeForNoElementsOrForTooMany) {
    using WideQueue = ::android::AidlMessageQueue<uint64_t, SynchronizedReadWrite>;
    for (const size_t count : {size_t{0}, SIZE_MAX, size_t{1} << 31}) {
        EXPECT_FALSE(Queue(count).isValid()) << count;
    }
    EXPECT_FALSE(WideQueue(SIZE_MAX / 8 + 2).isValid());
}

TEST(Queue, DescribesItselfAsOnADevice) {
    Queue plain(100);
    const Descriptor desc = plain.dupeDesc();
    std::vector<GrantorDescriptor> regions = {{0, 0, 8}, {0, 8, 8}, {0, 16, 100}};
    EXPECT_EQ(desc.grantors, regions);
    EXPECT_TRUE(desc.quantum == 1 && desc.flags == 1 && desc.handle.ints.empty());
    ASSERT_EQ(desc.handle.fds.size(), 1U);
    EXPECT_NE(fcntl(desc.handle.fds[0].get(), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(plain.getEventFlagWord(), nullptr);
    Queue flagged(100, true);
    regions.push_back({0, 120, 4});
    EXPECT_EQ(flagged.dupeDesc().grantors, regions);
    *flagged.getEventFlagWord() = 5;
    EXPECT_EQ(*Queue(flagged.dupeDesc()).getEventFlagWord(), 5U);
}

// Blocks of random sizes through a ring that wraps all the time, once started so that the counters
// wrap as well. Unread bytes lie across either wrap in most rounds.
void streamThrough(size_t ringSize, uint64_t start, size_t rounds) {
    Queue writer(ringSize);
    RawView raw(writer);
    raw->readCounter = start;
    raw->writeCounter = start;
    Queue reader(writer.dupeDesc(), false);
    uint64_t written = 0;
    uint64_t read = 0;
    for (size_t i = 0; i < rounds; ++i) {
        const size_t count = anyNumber() % (writer.availableToWrite() + 1);
        ASSERT_TRUE(writeStream(writer, written, count));
        written += count;
        ASSERT_EQ(reader.availableToRead(), written - read);
        const size_t taken = anyNumber() % (written - read + 1);
        ASSERT_NO_FATAL_FAILURE(expectStream(reader, read, taken));
        read += taken;
    }
    EXPECT_GT(written, 2000U);
    EXPECT_EQ(raw->writeCounter, start + written);
}

TEST(Queue, GoesOnWhenTheRingAndItsCountersWrap) {
    streamThrough(1, 0, 10000);
    streamThrough(size_t{1} << 20, 0, 60);
    for (const size_t ringSize : {64U, 100U, 4096U}) {
        streamThrough(ringSize, UINT64_MAX - 1000, 1000);
    }
}

TEST(Queue, DropsWhatWaitsWhenTheCountersMakeNoSense) {
    Queue queue(100);
    RawView raw(queue);
    const std::pair<uint64_t, uint64_t> overruns[] = {{0, 101}, {1000, 999}, {UINT64_MAX, 100}};
    for (const auto& [read, written] : overruns) {
        raw->readCounter = read;
        raw->writeCounter = written;
        EXPECT_EQ(queue.availableToRead() + queue.availableToWrite(), 0U);
        EXPECT_FALSE(writeStream(queue, 0, 1));
        int8_t byte = 42;
        EXPECT_FALSE(queue.read(&byte, 1));
        EXPECT_EQ(byte, 42);
        EXPECT_TRUE(raw->readCounter == written && raw->writeCounter == written) << read;
    }
}

TEST(Queue, CarriesAStreamFromOneThreadToAnother) {
    constexpr uint64_t kTotal = 2000000;
    Queue queue(1000);
    std::thread writer([&queue] {
        for (uint64_t sent = 0; sent < kTotal;) {
            const size_t count = 1 + sent % 400;
            if (writeStream(queue, sent, count)) sent += count;
        }
    });
    for (uint64_t got = 0; got < kTotal && !testing::Test::HasFailure();) {
        const size_t count = queue.availableToRead();
        expectStream(queue, got, count);
        got += count;
        if (count == 0) std::this_thread::yield();
    }
    writer.join();
}

// --- A peer that scribbles over the shared memory while this process uses the queue.

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

TEST(EventFlag, HandsEachBitToOneWaiter) {
    using ::android::hardware::EventFlag;
    std::atomic<uint32_t> word{0};
    EventFlag* flag = nullptr;
    ASSERT_EQ(EventFlag::createEventFlag(&word, &flag), ::android::NO_ERROR);
    uint32_t state = 7;
    EXPECT_EQ(flag->wait(1, &state, 1000000), ::android::TIMED_OUT);
    EXPECT_EQ(state, 0U);
    EXPECT_EQ(flag->wake(1 | 4), ::android::NO_ERROR);
    EXPECT_EQ(flag->wait(1 | 2, &state, 1000000), ::android::NO_ERROR);
    EXPECT_TRUE(state == 1 && word == 4);
    std::thread waker([flag] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        flag->wake(2);
    });
    EXPECT_EQ(flag->wait(2, &state, 0, true), ::android::NO_ERROR);
    EXPECT_EQ(state, 2U);
    waker.join();
    EXPECT_EQ(flag->wake(4), ::android::NO_ERROR);  // which is set already
    EXPECT_EQ(flag->wait(0, &state), ::android::BAD_VALUE);
    EXPECT_EQ(flag->wait(1, nullptr), ::android::BAD_VALUE);
    EXPECT_EQ(EventFlag::deleteEventFlag(&flag), ::android::NO_ERROR);
    EXPECT_EQ(EventFlag::deleteEventFlag(&flag), ::android::BAD_VALUE);
    EXPECT_EQ(EventFlag::deleteEventFlag(nullptr), ::android::BAD_VALUE);
    EXPECT_EQ(EventFlag::createEventFlag(nullptr, &flag), ::android::BAD_VALUE);
    EXPECT_EQ(EventFlag::createEventFlag(&word, nullptr), ::android::BAD_VALUE);
}

}  // namespace
}  // namespace queue_test
