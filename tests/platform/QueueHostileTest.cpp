// A peer that scribbles over the shared memory while this process uses the queue.
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "QueueSupport.h"

namespace queue_test {
namespace {

constexpr size_t kRing = 4001;  // no power of two, and not up to the end of the page
constexpr size_t kMemory = 8192;
constexpr size_t kOperations = 1500000;
constexpr size_t kEnough =
        1000;  // of either outcome; only a peer that is at work brings them about
constexpr uint8_t kCanary = 0xA5;

// One value for a counter: near enough to the other one to be believed, or anything at all.
uint64_t anyCounter(Random& random, uint64_t other) {
    switch (random.below(4)) {
        case 0:
            return other + random.below(kRing + 2);
        case 1:
            return other - random.below(3);
        case 2:
            return UINT64_MAX - random.below(2 * kRing);
        default:
            return random.any();
    }
}

[[noreturn]] void scribble(RawView& raw) {
    Random random;
    for (;;) {
        raw.writeCounter() = anyCounter(random, raw.readCounter());
        if (random.below(2) == 0) raw.readCounter() = anyCounter(random, raw.writeCounter());
        raw.ring()[random.below(kRing)] = static_cast<uint8_t>(random.below(kCanary));
    }
}

// The other process, from construction to the end of the scope.
class Scribbler {
  public:
    explicit Scribbler(RawView& raw) {
        const pid_t parent = getpid();
        mPid = fork();
        if (mPid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() != parent) _exit(1);
            scribble(raw);
        }
        while (raw.writeCounter() == 0) sched_yield();  // until it is at work
    }
    ~Scribbler() {
        kill(mPid, SIGKILL);
        waitpid(mPid, nullptr, 0);
    }
    Scribbler(const Scribbler&) = delete;
    Scribbler& operator=(const Scribbler&) = delete;

    bool isRunning() const { return mPid > 0 && waitpid(mPid, nullptr, WNOHANG) == 0; }

  private:
    pid_t mPid = -1;
};

constexpr int8_t kGuard = static_cast<int8_t>(kCanary);

// Room for a message and a margin, all canaries. The ring never holds one.
struct Guarded {
    explicit Guarded(size_t count) : bytes(count + kMargin, kGuard) {}
    // Whether `count` bytes came, all of them out of the ring, and nothing more.
    bool holds(size_t count) const {
        const auto first = std::find(bytes.begin(), bytes.end(), kGuard);
        const bool asMany = first == bytes.begin() + static_cast<ptrdiff_t>(count);
        return asMany && std::all_of(first, bytes.end(), [](int8_t b) { return b == kGuard; });
    }
    static constexpr size_t kMargin = 32;
    std::vector<int8_t> bytes;
};

// A queue whose memory ends in canaries, and the peer's view of it.
struct Arena {
    Arena() {
        desc.grantors = {{0, 0, 8}, {0, 8, 8}, {0, kRingOffset, kRing}};
        desc.handle.fds.push_back(makeMemory(kMemory));
        desc.quantum = 1;
        raw = std::make_unique<RawView>(desc.handle.fds[0].get(), kMemory);
        queue = std::make_unique<Queue>(desc);
        memset(behindRing(), kCanary, kBehind);
    }
    uint8_t* behindRing() const { return raw->ring() + kRing; }
    bool isIntact() const {
        return std::all_of(behindRing(), behindRing() + kBehind,
                           [](uint8_t byte) { return byte == kCanary; });
    }
    static constexpr size_t kBehind = kMemory - kRingOffset - kRing;

    Descriptor desc;
    std::unique_ptr<RawView> raw;
    std::unique_ptr<Queue> queue;
};

TEST(HostilePeer, CannotMakeAReadLeaveTheRingOrTheBuffer) {
    Arena arena;
    ASSERT_TRUE(arena.queue->isValid());
    const Scribbler scribbler(*arena.raw);
    Random random;
    std::array<size_t, 2> outcomes{};
    for (size_t i = 0; i < kOperations || std::min(outcomes[0], outcomes[1]) < kEnough; ++i) {
        const size_t count = 1 + random.below(i % 64 == 0 ? 2 * kRing : 64);
        Guarded target(count);
        const bool read = arena.queue->read(target.bytes.data(), count);
        ++outcomes[read ? 1 : 0];
        ASSERT_TRUE(target.holds(read ? count : 0));
        ASSERT_LE(arena.queue->availableToRead(), kRing);
    }
    EXPECT_TRUE(scribbler.isRunning());
    EXPECT_TRUE(arena.isIntact());
}

TEST(HostilePeer, CannotMakeAWriteLeaveTheRing) {
    Arena arena;
    ASSERT_TRUE(arena.queue->isValid());
    const std::vector<int8_t> source(2 * kRing + 1, 1);
    const Scribbler scribbler(*arena.raw);
    Random random;
    std::array<size_t, 2> outcomes{};
    for (size_t i = 0; i < kOperations || std::min(outcomes[0], outcomes[1]) < kEnough; ++i) {
        const size_t count = 1 + random.below(i % 64 == 0 ? 2 * kRing : 64);
        ++outcomes[arena.queue->write(source.data(), count) ? 1 : 0];
        ASSERT_LE(arena.queue->availableToWrite(), kRing);
    }
    EXPECT_TRUE(scribbler.isRunning());
    EXPECT_TRUE(arena.isIntact());
}

}  // namespace
}  // namespace queue_test
