// The client's side of a queue, by hand: memory that a test lays out, seals and scribbles over.
#pragma once

#include <android/log.h>
#include <fcntl.h>
#include <fmq/AidlMessageQueue.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace queue_test {

using ::aidl::android::hardware::common::fmq::GrantorDescriptor;
using ::aidl::android::hardware::common::fmq::MQDescriptor;
using ::aidl::android::hardware::common::fmq::SynchronizedReadWrite;
using Queue = ::android::AidlMessageQueue<int8_t, SynchronizedReadWrite>;
using Descriptor = MQDescriptor<int8_t, SynchronizedReadWrite>;

constexpr size_t kRingOffset = 16;

inline ::ndk::ScopedFileDescriptor duplicate(int fd) {
    return ::ndk::ScopedFileDescriptor(fcntl(fd, F_DUPFD_CLOEXEC, 0));
}

inline ::ndk::ScopedFileDescriptor makeMemory(size_t size, int seals = F_SEAL_SHRINK,
                                              unsigned flags = 0) {
    ::ndk::ScopedFileDescriptor fd(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING | flags));
    if (fd.get() < 0 || ftruncate(fd.get(), static_cast<off_t>(size)) != 0 ||
        fcntl(fd.get(), F_ADD_SEALS, seals) != 0) {
        return ::ndk::ScopedFileDescriptor();
    }
    return fd;
}

// A view of a queue's memory as a peer has it that keeps to no rule. Expects the usual layout.
class RawView {
  public:
    RawView(int fd, size_t size) : mSize(size) {
        void* base = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        if (base == MAP_FAILED) abort();
        mBase = static_cast<uint8_t*>(base);
    }
    ~RawView() { munmap(mBase, mSize); }
    RawView(const RawView&) = delete;
    RawView& operator=(const RawView&) = delete;

    std::atomic<uint64_t>& readCounter() { return counter(0); }
    std::atomic<uint64_t>& writeCounter() { return counter(8); }
    uint8_t* ring() { return mBase + kRingOffset; }

  private:
    std::atomic<uint64_t>& counter(size_t offset) {
        return *reinterpret_cast<std::atomic<uint64_t>*>(mBase + offset);
    }

    uint8_t* mBase = nullptr;
    size_t mSize;
};

// What is logged while it lives, as "priority tag: message". One at a time.
class LogCapture {
  public:
    LogCapture() {
        lines().clear();
        __android_log_set_logger(keep);
    }
    ~LogCapture() { __android_log_set_logger(__android_log_stderr_logger); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    static std::vector<std::string>& lines() {
        static std::vector<std::string> kept;
        return kept;
    }

  private:
    static void keep(const __android_log_message* message) {
        lines().push_back(std::to_string(message->priority) + " " + message->tag + ": " +
                          message->message);
    }
};

// What a leak would change.
struct Holdings {
    ptrdiff_t descriptors = 0;
    ptrdiff_t queueMappings = 0;

    static Holdings now() {
        Holdings holdings;
        holdings.descriptors = std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                             std::filesystem::directory_iterator());
        std::ifstream maps("/proc/self/maps");
        for (std::string line; std::getline(maps, line);) {
            if (line.find("/memfd:") != std::string::npos) ++holdings.queueMappings;
        }
        return holdings;
    }
    bool operator==(const Holdings& other) const {
        return descriptors == other.descriptors && queueMappings == other.queueMappings;
    }
};

// The same numbers in every run, so that a failure can be looked at again.
class Random {
  public:
    // From 0 to `limit` - 1.
    size_t below(size_t limit) { return mEngine() % limit; }
    uint64_t any() { return mEngine(); }

  private:
    std::mt19937_64 mEngine{1};  // NOLINT(cert-msc32-c,cert-msc51-cpp): see above
};

// The bytes number `first` and on of a stream that both ends can compute.
inline std::vector<int8_t> streamBytes(uint64_t first, size_t count) {
    std::vector<int8_t> bytes(count);
    for (size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<int8_t>((first + i) * 2654435761U >> 13);
    }
    return bytes;
}

}  // namespace queue_test
