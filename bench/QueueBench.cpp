#include <benchmark/benchmark.h>
#include <fmq/AidlMessageQueue.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

// What the queue costs beside what it cannot do without: a copy of the same bytes out of (or into)
// the same shared memory for a message, a bare mmap and munmap of the same regions for a queue.

namespace {

using ::aidl::android::hardware::common::fmq::MQDescriptor;
using ::aidl::android::hardware::common::fmq::SynchronizedReadWrite;
using Queue = ::android::AidlMessageQueue<int8_t, SynchronizedReadWrite>;
using Descriptor = MQDescriptor<int8_t, SynchronizedReadWrite>;
using Clock = std::chrono::steady_clock;

constexpr size_t kRingOffset = 16;

void require(bool condition) {
    if (!condition) abort();
}

// A queue, and its ring without the queue.
struct Ring {
    explicit Ring(size_t length) : queue(length), size(kRingOffset + length) {
        const Descriptor desc = queue.dupeDesc();
        void* base = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED,
                          desc.handle.fds.at(0).get(), 0);
        require(base != MAP_FAILED);
        bytes = static_cast<int8_t*>(base) + kRingOffset;
    }
    ~Ring() { munmap(bytes - kRingOffset, size); }
    Ring(const Ring&) = delete;
    Ring& operator=(const Ring&) = delete;

    Queue queue;
    size_t size;
    int8_t* bytes = nullptr;
};

// Messages per pass: enough that starting the clock does not count.
size_t passOf(size_t message) {
    return message >= 1 << 20 ? 8 : (1 << 20) / message;
}

template <typename Prepare, typename Move>
void timePasses(benchmark::State& state, Prepare prepare, Move move) {
    const auto message = static_cast<size_t>(state.range(0));
    const size_t count = passOf(message);
    while (state.KeepRunning()) {
        prepare();
        const auto start = Clock::now();
        for (size_t i = 0; i < count; ++i) move(i * message);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(count * message));
    state.counters["per_message"] =
            benchmark::Counter(static_cast<double>(count) * static_cast<double>(state.iterations()),
                               benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// Both sides of a comparison start a pass with the caches in the same state: the whole ring has
// just been filled from, or emptied into, another block.
struct Pass {
    explicit Pass(benchmark::State& state) : message(static_cast<size_t>(state.range(0))) {
        benchmark::DoNotOptimize(message);  // a length known only at run time, as the queue's is
    }

    size_t message;
    Ring ring{passOf(message) * message};
    std::vector<int8_t> whole = std::vector<int8_t>(passOf(message) * message, 1);
    std::vector<int8_t> one = std::vector<int8_t>(message, 1);
};

void copyOut(benchmark::State& state) {
    Pass pass(state);
    timePasses(
            state, [&] { memcpy(pass.ring.bytes, pass.whole.data(), pass.whole.size()); },
            [&](size_t offset) {
                memcpy(pass.one.data(), pass.ring.bytes + offset, pass.message);
                benchmark::ClobberMemory();
            });
}

void queueRead(benchmark::State& state) {
    Pass pass(state);
    timePasses(
            state, [&] { require(pass.ring.queue.write(pass.whole.data(), pass.whole.size())); },
            [&](size_t) {
                require(pass.ring.queue.read(pass.one.data(), pass.message));
                benchmark::ClobberMemory();
            });
}

void copyIn(benchmark::State& state) {
    Pass pass(state);
    timePasses(
            state, [&] { memcpy(pass.whole.data(), pass.ring.bytes, pass.whole.size()); },
            [&](size_t offset) {
                memcpy(pass.ring.bytes + offset, pass.one.data(), pass.message);
                benchmark::ClobberMemory();
            });
}

void queueWrite(benchmark::State& state) {
    Pass pass(state);
    require(pass.ring.queue.write(pass.whole.data(), pass.whole.size()));
    timePasses(
            state, [&] { require(pass.ring.queue.read(pass.whole.data(), pass.whole.size())); },
            [&](size_t) {
                require(pass.ring.queue.write(pass.one.data(), pass.message));
                benchmark::ClobberMemory();
            });
}

// The three regions, mapped one by one as the descriptor lists them.
void mapThreeRegions(benchmark::State& state) {
    const auto length = static_cast<size_t>(state.range(0));
    const Descriptor desc = Queue(length).dupeDesc();
    const int fd = desc.handle.fds.at(0).get();
    while (state.KeepRunning()) {
        void* bases[3];
        for (size_t i = 0; i < 3; ++i) {
            bases[i] = mmap(nullptr, i < 2 ? kRingOffset : kRingOffset + length,
                            PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        }
        for (size_t i = 0; i < 3; ++i) munmap(bases[i], i < 2 ? kRingOffset : kRingOffset + length);
    }
}

// The three regions as the one piece of memory that they are.
void mapOnce(benchmark::State& state) {
    const auto length = static_cast<size_t>(state.range(0));
    const Descriptor desc = Queue(length).dupeDesc();
    const int fd = desc.handle.fds.at(0).get();
    while (state.KeepRunning()) {
        void* base = mmap(nullptr, kRingOffset + length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        munmap(base, kRingOffset + length);
    }
}

void attachAndRelease(benchmark::State& state) {
    const Descriptor desc = Queue(static_cast<size_t>(state.range(0))).dupeDesc();
    while (state.KeepRunning()) require(Queue(desc, true).isValid());
}

constexpr int64_t kMessages[] = {64, 4096, 1 << 20};
constexpr int64_t kRings[] = {4096, 1 << 20, 64 << 20};

[[maybe_unused]] const bool kRegistered = [] {
    const auto add = [](const char* name, void (*run)(benchmark::State&), int64_t argument) {
        return benchmark::RegisterBenchmark(name, run)->Arg(argument);
    };
    for (const int64_t message : kMessages) {
        add("copyOut", copyOut, message)->UseManualTime();
        add("queueRead", queueRead, message)->UseManualTime();
        add("copyIn", copyIn, message)->UseManualTime();
        add("queueWrite", queueWrite, message)->UseManualTime();
    }
    for (const int64_t ring : kRings) {
        add("mapThreeRegions", mapThreeRegions, ring);
        add("mapOnce", mapOnce, ring);
        add("attachAndRelease", attachAndRelease, ring);
    }
    return true;
}();

}  // namespace

BENCHMARK_MAIN();
