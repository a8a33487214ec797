// request_read into a dropbox that lies in memory, beside a floor measured in the same run: copy
// the same bytes from the same shared memory into fresh zeroed memory, then one write into a new
// file.

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <fcntl.h>
#include <fmq/AidlMessageQueue.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "LumvndhalImpl.h"
#include "Measure.h"

namespace {

using aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;
using aidl::vendor::tav::lumvndhal_aidl::LumvndhalImpl;
using bench::number;
using bench::Samples;
using Queue = LumvndhalImpl::ByteQueue;

constexpr char kFile[] = "/data/vendor/lum/f";
constexpr int kRingGrantor = 2;
const std::string kInstance = std::string(ILumvndhal::descriptor) + "/bench";

void check(bool ok) {
    if (ok) return;
    std::fprintf(stderr, "a call failed\n");
    std::exit(1);
}

void quieten() {
    const int quiet = ::open("/dev/null", O_WRONLY);
    ::dup2(quiet, STDERR_FILENO);
}

void serve() {
    quieten();
    const auto service = ndk::SharedRefBase::make<LumvndhalImpl>();
    if (AServiceManager_addService(service->asBinder().get(), kInstance.c_str()) != EX_NONE) return;
    ABinderProcess_startThreadPool();
    for (;;) ::pause();
}

// The ring of a queue, mapped once more.
class RingView {
  public:
    RingView(Queue& queue, size_t size) : mDesc(queue.dupeDesc()), mSize(size) {
        const auto& ring = mDesc.grantors[kRingGrantor];
        mOffset = static_cast<size_t>(ring.offset);
        mMemory = ::mmap(nullptr, mOffset + size, PROT_READ | PROT_WRITE, MAP_SHARED,
                         mDesc.handle.fds[static_cast<size_t>(ring.fdIndex)].get(), 0);
        check(mMemory != MAP_FAILED);
    }
    ~RingView() { ::munmap(mMemory, mOffset + mSize); }
    RingView(const RingView&) = delete;
    RingView& operator=(const RingView&) = delete;

    const char* bytes() const { return static_cast<const char*>(mMemory) + mOffset; }

  private:
    LumvndhalImpl::ByteQueueDescriptor mDesc;
    size_t mSize;
    size_t mOffset = 0;
    void* mMemory = nullptr;
};

void copyAndWrite(const char* from, size_t size) {
    void* buffer = std::calloc(size, 1);
    std::memcpy(buffer, from, size);
    const int file = ::open(kFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    check(::write(file, buffer, size) == static_cast<ssize_t>(size));
    ::close(file);
    std::free(buffer);
}

void measure(const std::string& name, ILumvndhal& service, size_t size, int rounds) {
    Queue queue(size);
    bool result = false;
    check(service.configure(queue.dupeDesc(), &result).isOk() && result);
    const RingView ring(queue, size);
    const std::vector<int8_t> block(size, 'x');
    Samples floor;
    Samples reads;
    for (int round = 0; round < rounds; ++round) {
        check(queue.write(block.data(), size));
        ::unlink(kFile);
        floor.measure(1, [&] { copyAndWrite(ring.bytes(), size); });
        ::unlink(kFile);
        reads.measure(1, [&] {
            service.request_read("/f", static_cast<int32_t>(size), &result);
            check(result);
        });
    }
    const double rate = static_cast<double>(size) / reads.median() / 1000;
    bench::printRow(
            name, {number(reads.median(), 1), number(reads.p99(), 1), number(floor.median(), 1),
                   number(floor.p99(), 1), number(reads.median() / floor.median()), number(rate)});
}

void measureSizes(const std::string& where, ILumvndhal& service) {
    measure("request_read, 4 KiB, " + where, service, size_t{4} << 10, 2000);
    measure("request_read, 1 MiB, " + where, service, size_t{1} << 20, 400);
    measure("request_read, 64 MiB, " + where, service, size_t{64} << 20, 20);
}

}  // namespace

int main() {
    std::printf("\n");
    bench::printRow("transfer, one core [us]",
                    {"median", "p99", "floor med", "floor p99", "ratio", "GB/s"});
    bench::pinTo(0);
    const bench::Worker serving(serve);
    const ndk::SpAIBinder binder(AServiceManager_waitForService(kInstance.c_str()));
    measureSizes("between processes", *ILumvndhal::fromBinder(binder));
    quieten();
    measureSizes("in process", *ndk::SharedRefBase::make<LumvndhalImpl>());
    return 0;
}
