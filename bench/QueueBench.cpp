// What the queue costs beside what it cannot do without: a copy of the same bytes out of (or into)
// the same shared memory for a message, a bare mmap and munmap of the same memory for a queue.

#include <fcntl.h>
#include <fmq/AidlMessageQueue.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "Measure.h"

namespace {

using ::aidl::android::hardware::common::fmq::MQDescriptor;
using ::aidl::android::hardware::common::fmq::SynchronizedReadWrite;
using bench::check;
using bench::Samples;
using bench::Subject;
using Queue = ::android::AidlMessageQueue<int8_t, SynchronizedReadWrite>;
using Descriptor = MQDescriptor<int8_t, SynchronizedReadWrite>;

constexpr char kGroup[] = "queue";

struct Size {
    const char* name;
    size_t bytes;
};
constexpr Size kMessages[] = {{"64 B", 64}, {"4 KiB", 4096}, {"1 MiB", 1 << 20}};
constexpr Size kRings[] = {{"4 KiB", 4096}, {"1 MiB", 1 << 20}, {"64 MiB", 64 << 20}};

size_t ringOffset(const Descriptor& desc) {
    return static_cast<size_t>(desc.grantors.at(2).offset);
}

// A queue's memory, up to the end of its ring.
struct Mapping {
    explicit Mapping(const Descriptor& desc)
        : size(ringOffset(desc) + static_cast<size_t>(desc.grantors.at(2).extent)),
          base(::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED,
                      desc.handle.fds.at(0).get(), 0)) {
        check(base != MAP_FAILED, "mmap");
    }
    ~Mapping() { ::munmap(base, size); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    size_t size;
    void* base;
};

// A queue, and its ring without the queue.
struct Ring {
    explicit Ring(size_t length)
        : queue(length),
          desc(queue.dupeDesc()),
          mapping(desc),
          bytes(static_cast<int8_t*>(mapping.base) + ringOffset(desc)) {}

    Queue queue;
    Descriptor desc;
    Mapping mapping;
    int8_t* bytes;
};

// A pass moves many messages, so that reading the clock does not count. Both sides of a comparison
// start theirs with the caches in the same state: the whole ring has just been filled from, or
// emptied into, another block.
struct Pass {
    // The length is one that the compiler does not know, as the queue's is.
    explicit Pass(size_t length) : message((keep(), *const_cast<volatile size_t*>(&length))) {}

    void fill() { check(ring.queue.write(whole.data(), whole.size()), "queue.write"); }
    void drain() { check(ring.queue.read(whole.data(), whole.size()), "queue.read"); }
    void copyOut() {
        for (size_t i = 0; i < count; ++i) {
            std::memcpy(one.data(), ring.bytes + i * message, message);
            keep();
        }
    }
    void copyIn() {
        for (size_t i = 0; i < count; ++i) {
            std::memcpy(ring.bytes + i * message, one.data(), message);
            keep();
        }
    }
    void read() {
        bool ok = true;
        for (size_t i = 0; i < count; ++i) ok = ring.queue.read(one.data(), message) && ok;
        check(ok, "queue.read");
    }
    void write() {
        bool ok = true;
        for (size_t i = 0; i < count; ++i) ok = ring.queue.write(one.data(), message) && ok;
        check(ok, "queue.write");
    }
    // Lets the compiler drop no copy.
    static void keep() { asm volatile("" ::: "memory"); }

    const size_t message;
    const size_t count = message >= 1 << 20 ? 8 : (1 << 20) / message;
    Ring ring{count * message};
    std::vector<int8_t> whole = std::vector<int8_t>(count * message, 1);
    std::vector<int8_t> one = std::vector<int8_t>(message, 1);
};

void printRow(const std::string& name, const std::vector<Samples>& samples, size_t operations,
              size_t bytes) {
    const double each = samples[1].median() / static_cast<double>(operations);
    const double floor = samples[0].median() / static_cast<double>(operations);
    bench::print({kGroup, name, "this", each, floor, {{"size", static_cast<double>(bytes)}}});
}

void measureRead(const Size& size) {
    const std::string name = std::string("read, ") + size.name;
    if (!bench::wants(kGroup, name)) return;
    Pass pass(size.bytes);
    const Subject copying = {
            [&] { pass.copyOut(); },
            [&] { std::memcpy(pass.ring.bytes, pass.whole.data(), pass.whole.size()); }};
    const Subject reading = {[&] { pass.read(); }, [&] { pass.fill(); }};
    printRow(name, bench::takeTurns(bench::scaled(300, 50), 1, {copying, reading}), pass.count,
             size.bytes);
}

void measureWrite(const Size& size) {
    const std::string name = std::string("write, ") + size.name;
    if (!bench::wants(kGroup, name)) return;
    Pass pass(size.bytes);
    pass.fill();
    const Subject copying = {
            [&] { pass.copyIn(); },
            [&] { std::memcpy(pass.whole.data(), pass.ring.bytes, pass.whole.size()); }};
    const Subject writing = {[&] { pass.write(); }, [&] { pass.drain(); }};
    printRow(name, bench::takeTurns(bench::scaled(300, 50), 1, {copying, writing}), pass.count,
             size.bytes);
}

// What no reader can do without: a descriptor of its own, and the counters set to 0.
void attachBarely(const Descriptor& desc) {
    const int own = ::fcntl(desc.handle.fds.at(0).get(), F_DUPFD_CLOEXEC, 0);
    *static_cast<volatile uint64_t*>(Mapping(desc).base) = 0;
    ::close(own);
}

// The reader's end: the descriptor is checked, its memory mapped, and let go again.
void measureAttach(const Size& size) {
    constexpr size_t kTimes = 100;
    const std::string name = std::string("attach and release, ") + size.name;
    if (!bench::wants(kGroup, name)) return;
    const Descriptor desc = Queue(size.bytes).dupeDesc();
    const Subject mapping = {[&] {
        for (size_t i = 0; i < kTimes; ++i) attachBarely(desc);
    }};
    const Subject attaching = {[&] {
        for (size_t i = 0; i < kTimes; ++i) check(Queue(desc, true).isValid(), "attaching");
    }};
    printRow(name, bench::takeTurns(bench::scaled(300, 50), 1, {mapping, attaching}), kTimes,
             size.bytes);
}

}  // namespace

int main(int argc, char** argv) {
    bench::readOptions(argc, argv);
    bench::pinTo(0);
    for (const Size& size : kMessages) measureRead(size);
    for (const Size& size : kMessages) measureWrite(size);
    for (const Size& size : kRings) measureAttach(size);
    return 0;
}
