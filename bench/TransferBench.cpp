// request_read into a dropbox that lies in memory, client and service on one core. Two floors, each
// of which copies the same bytes out of the same shared memory and writes them into a new file with
// one write: by way of fresh zeroed memory, and by way of memory that was used before. The second
// is what no service could do that keeps nothing between its calls.

#include <fcntl.h>
#include <fmq/AidlMessageQueue.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Measure.h"
#include "Service.h"

namespace {

using bench::check;
using bench::ILumvndhal;
using Queue =
        ::android::AidlMessageQueue<int8_t,
                                    ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>;

constexpr char kGroup[] = "transfer";
constexpr char kFile[] = "/data/vendor/lum/f";
constexpr int kRingGrantor = 2;

struct Size {
    const char* name;
    size_t bytes;
    size_t rounds;
    size_t roundsInQuickRun;
};
constexpr Size kSizes[] = {{"64 KiB", 64 << 10, 1000, 100},
                           {"1 MiB", 1 << 20, 200, 30},
                           {"16 MiB", 16 << 20, 50, 8},
                           {"64 MiB", 64 << 20, 20, 4}};

// The ring of a queue, mapped once more.
class RingView {
  public:
    RingView(Queue& queue, size_t size) : mDesc(queue.dupeDesc()), mSize(size) {
        const auto& ring = mDesc.grantors[kRingGrantor];
        mOffset = static_cast<size_t>(ring.offset);
        mMemory = ::mmap(nullptr, mOffset + size, PROT_READ | PROT_WRITE, MAP_SHARED,
                         mDesc.handle.fds[static_cast<size_t>(ring.fdIndex)].get(), 0);
        check(mMemory != MAP_FAILED, "mmap");
    }
    ~RingView() { ::munmap(mMemory, mOffset + mSize); }
    RingView(const RingView&) = delete;
    RingView& operator=(const RingView&) = delete;

    const char* bytes() const { return static_cast<const char*>(mMemory) + mOffset; }

  private:
    decltype(std::declval<Queue>().dupeDesc()) mDesc;
    size_t mSize;
    size_t mOffset = 0;
    void* mMemory = nullptr;
};

void copyAndWrite(const char* from, void* by, size_t size) {
    std::memcpy(by, from, size);
    const int file = ::open(kFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    check(::write(file, by, size) == static_cast<ssize_t>(size), "write");
    ::close(file);
}

void copyByFreshMemory(const char* from, size_t size) {
    void* buffer = std::calloc(size, 1);
    copyAndWrite(from, buffer, size);
    std::free(buffer);
}

void requestRead(ILumvndhal& service, size_t size) {
    bool result = false;
    service.request_read("/f", static_cast<int32_t>(size), &result);
    check(result, "request_read");
}

std::vector<bench::Samples> measure(ILumvndhal& service, const Size& size) {
    Queue queue(size.bytes);
    bool result = false;
    check(service.configure(queue.dupeDesc(), &result).isOk() && result, "configure");
    const RingView ring(queue, size.bytes);
    const std::vector<int8_t> block(size.bytes, 'x');
    std::vector<char> warm(size.bytes, 1);
    const auto clear = [&] { ::unlink(kFile); };
    const auto fill = [&] {
        clear();
        check(queue.write(block.data(), size.bytes), "queue.write");
    };
    fill();
    requestRead(service, size.bytes);  // from here on the ring's memory is there
    return bench::takeTurns(bench::scaled(size.rounds, size.roundsInQuickRun), 1,
                            {{[&] { copyByFreshMemory(ring.bytes(), size.bytes); }, clear},
                             {[&] { copyAndWrite(ring.bytes(), warm.data(), size.bytes); }, clear},
                             {[&] { requestRead(service, size.bytes); }, fill}});
}

void measureSize(ILumvndhal& service, const Size& size) {
    const std::string name = std::string("request_read, ") + size.name;
    const std::string against[] = {name + ", fresh memory", name + ", warm memory"};
    if (!bench::wants(kGroup, against[0]) && !bench::wants(kGroup, against[1])) return;
    const auto samples = measure(service, size);
    for (size_t floor = 0; floor < 2; ++floor) {
        if (!bench::wants(kGroup, against[floor])) continue;
        bench::print({kGroup,
                      against[floor],
                      "this",
                      samples[2].median(),
                      samples[floor].median(),
                      {{"p99", samples[2].p99()},
                       {"floor_p99", samples[floor].p99()},
                       {"size", static_cast<double>(size.bytes)}}});
    }
}

}  // namespace

int main(int argc, char** argv) {
    bench::readOptions(argc, argv);
    bench::pinTo(0);
    const bench::Worker serving([] { bench::serve(0); });
    // Here, and not in the service: otherwise calloc soon hands out what it kept from the block
    // before, and nothing is fresh.
    ::mallopt(M_MMAP_THRESHOLD, 32 << 10);
    const auto service = bench::connect();
    for (const Size& size : kSizes) measureSize(*service, size);
    return 0;
}
