// A queue descriptor of any values over real memory: the constructor accepts or refuses it, and an
// accepted queue can be used. The input's first bytes set the counters, the rest the fields.
#include <android/log.h>
#include <fcntl.h>
#include <fmq/AidlMessageQueue.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using ::aidl::android::hardware::common::fmq::MQDescriptor;
using ::aidl::android::hardware::common::fmq::SynchronizedReadWrite;
using Queue = ::android::AidlMessageQueue<int8_t, SynchronizedReadWrite>;

constexpr off_t kMemory = 8192;

class Input {
  public:
    Input(const uint8_t* data, size_t size) : mData(data), mLeft(size) {}
    bool isEmpty() const { return mLeft == 0; }
    // The next value; zeros where the input ends.
    template <typename T>
    T take() {
        T value{};
        const size_t count = sizeof(T) < mLeft ? sizeof(T) : mLeft;
        memcpy(&value, mData, count);
        mData += count;
        mLeft -= count;
        return value;
    }

  private:
    const uint8_t* mData;
    size_t mLeft;
};

int sharedMemory() {
    static const int fd = [] {
        const int made = memfd_create("fuzz", MFD_CLOEXEC | MFD_ALLOW_SEALING);
        if (made < 0 || ftruncate(made, kMemory) != 0 ||
            fcntl(made, F_ADD_SEALS, F_SEAL_SHRINK) != 0) {
            abort();
        }
        return made;
    }();
    return fd;
}

MQDescriptor<int8_t, SynchronizedReadWrite> takeDescriptor(Input& input) {
    MQDescriptor<int8_t, SynchronizedReadWrite> desc;
    const int fds[] = {sharedMemory(), STDIN_FILENO, -1};
    for (const int fd : fds) {
        desc.handle.fds.emplace_back(fcntl(fd, F_DUPFD_CLOEXEC, 0));
    }
    desc.quantum = 1 + input.take<int16_t>();
    desc.flags = input.take<int16_t>();
    while (!input.isEmpty()) {
        // Short fields keep most values near the ones that matter; the last few bits widen them.
        const auto index = input.take<int16_t>();
        const auto offset = input.take<int16_t>();
        const auto extent = input.take<int16_t>();
        const auto shift = input.take<uint8_t>();
        desc.grantors.push_back({index, static_cast<int32_t>(offset) * (shift & 1 ? 65536 : 1),
                                 static_cast<int64_t>(extent) * (int64_t{1} << (shift >> 3))});
    }
    return desc;
}

void use(Queue& queue, size_t count) {
    std::vector<int8_t> bytes(count);
    const size_t waiting = queue.availableToRead();
    if (queue.read(bytes.data(), count) && count > waiting) abort();
    if (queue.availableToRead() > queue.getQuantumCount()) abort();
    queue.write(bytes.data(), count);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    Input input(data, size);
    const uint64_t counters[] = {input.take<uint64_t>(), input.take<uint64_t>()};
    const auto count = input.take<uint16_t>();
    if (pwrite(sharedMemory(), counters, sizeof(counters), 0) != sizeof(counters)) abort();
    Queue queue(takeDescriptor(input), false);
    if (!queue.isValid()) return 0;
    use(queue, count);
    use(queue, count / 2);
    Queue reset(queue.dupeDesc(), true);
    if (!reset.isValid() || reset.availableToRead() != 0) abort();
    use(reset, count);
    return 0;
}
