#include <fcntl.h>
#include <fmq/AidlMessageQueue.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "Files.h"
#include "ServiceUnderTest.h"

namespace {

using namespace support;
using Queue = LumvndhalImpl::ByteQueue;
using Descriptor = LumvndhalImpl::ByteQueueDescriptor;

const std::string kRoot = kDropbox;
const std::string kTaken = "LumvndhalImpl::request_read(), path=";
const LogLine kStored = info("LumvndhalImpl::request_read(), bres=1 ");
const LogLine kNotStored = info("LumvndhalImpl::request_read(), bres=0 ");
const LogLine kNoQueue = error("[ERROR] fmq not initialized");
const LogLine kBadParameter = error("[ERROR] invalid parameter");
const LogLine kNotRead = error("[ERROR] Failed to read data from fmq");
const LogLine kInvalidQueue = error("[ERROR] mFmqSync is nullptr or invalid");

// Mappings that an allocator may make for itself meanwhile; far fewer than there are rounds.
constexpr size_t kSlack = 100;

std::string bytes(size_t count, char first = '\0') {
    std::string text(count, '\0');
    std::iota(text.begin(), text.end(), first);
    return text;
}

bool put(Queue& queue, const std::string& text) {
    return queue.write(reinterpret_cast<const int8_t*>(text.data()), text.size());
}

class Transfer : public testing::TestWithParam<From> {
  protected:
    bool configure(const Descriptor& desc) {
        bool result = false;
        const auto status = mService->configure(desc, &result);
        EXPECT_TRUE(status.isOk()) << status.getDescription();
        return result;
    }
    bool configure(Queue& queue) { return configure(queue.dupeDesc()); }

    bool read(const std::string& path, int32_t count) {
        bool result = false;
        EXPECT_TRUE(mService->request_read(path, count, &result).isOk());
        return result;
    }

    ServiceUnderTest mService{GetParam()};
};

TEST_P(Transfer, StoresTheBytesInTheOrderInWhichTheyWereWritten) {
    Queue queue(100);
    ASSERT_TRUE(configure(queue));
    EXPECT_EQ(mService.takeLog(), LogLines{});
    // Blocks of 70 in a ring of 100: most of them wrap in the middle.
    for (int round = 0; round < 5; ++round) {
        const std::string block = bytes(70, static_cast<char>(round));
        ASSERT_TRUE(put(queue, block));
        EXPECT_TRUE(read("/t1.bin", 70));
        EXPECT_EQ(readFile(kRoot + "/t1.bin"), block);
        EXPECT_EQ(mService.takeLog(), LogLines{kStored});
    }
    ASSERT_TRUE(put(queue, bytes(100)));
    EXPECT_TRUE(read("/t1.bin", 60));
    EXPECT_TRUE(read("/t2.bin", 40));
    EXPECT_EQ(readFile(kRoot + "/t1.bin") + readFile(kRoot + "/t2.bin"), bytes(100));
}

TEST_P(Transfer, ShowsAPathFromItsEighteenthCharacterOn) {
    Queue queue(100);
    ASSERT_TRUE(configure(queue));
    put(queue, bytes(3));
    EXPECT_TRUE(read("/1234567890123456", 1));
    EXPECT_TRUE(read("/12345678901234567", 2));
    EXPECT_FALSE(read("/12345678901234567", 4));
    EXPECT_EQ(mService.takeLog(), (LogLines{kStored, info(kTaken + "7 count=2 read=1 "), kStored,
                                            info(kTaken + "7 count=4 read=0 "), kNotRead}));
}

TEST_P(Transfer, LeavesTheQueueAloneUntilThereAreEnoughBytes) {
    Queue queue(100);
    ASSERT_TRUE(configure(queue));
    put(queue, bytes(9));
    for (const int32_t count : {10, 101, INT32_MAX}) {
        EXPECT_FALSE(read("/f", count));
        EXPECT_EQ(mService.takeLog(), LogLines{kNotRead});
    }
    EXPECT_FALSE(exists(kRoot + "/f"));
    put(queue, bytes(1, 9));
    EXPECT_TRUE(read("/f", 10));
    EXPECT_EQ(readFile(kRoot + "/f"), bytes(10));
}

TEST_P(Transfer, LosesTheBytesOfAPathThatItCannotUse) {
    Queue queue(100);
    ASSERT_TRUE(configure(queue));
    put(queue, bytes(30));
    EXPECT_FALSE(read("/../f", 10));
    EXPECT_FALSE(read("/missing/f", 10));
    EXPECT_EQ(mService.takeLog(), (LogLines{error("[ERROR] Path is not correct"),
                                            error("[ERROR] Can't open output file")}));
    EXPECT_TRUE(read("/f", 10));
    EXPECT_EQ(readFile(kRoot + "/f"), bytes(10, 20));
}

TEST_P(Transfer, LetsTheQueueGoWhenAParameterIsWrong) {
    const std::pair<const char*, int32_t> wrong[] = {{"/f", 0}, {"/f", -1}, {"", 1}, {"", 0}};
    for (const auto& [path, count] : wrong) {
        EXPECT_FALSE(read(path, count));
        EXPECT_EQ(mService.takeLog(), LogLines{kNoQueue});  // before the parameters are looked at
        Queue queue(10);
        ASSERT_TRUE(configure(queue));
        put(queue, bytes(5));
        EXPECT_FALSE(read(path, count));
        EXPECT_FALSE(read("/f", 5));
        EXPECT_EQ(mService.takeLog(), (LogLines{kBadParameter, kNoQueue}));
    }
    EXPECT_FALSE(exists(kRoot + "/f"));
}

TEST_P(Transfer, EmptiesTheQueueThatItIsGiven) {
    Queue queue(10);
    put(queue, bytes(5));
    ASSERT_TRUE(configure(queue));
    EXPECT_FALSE(read("/f", 1));
    put(queue, bytes(5));
    ASSERT_TRUE(configure(queue));
    EXPECT_FALSE(read("/f", 1));
    Queue other(10, true);  // with an event flag, which nobody waits for
    ASSERT_TRUE(configure(other));
    put(queue, bytes(5));
    EXPECT_FALSE(read("/f", 1));
    put(other, bytes(1));
    EXPECT_TRUE(read("/f", 1));
}

TEST_P(Transfer, KeepsNoEarlierQueueAfterOneThatItRefuses) {
    Queue queue(10);
    ASSERT_TRUE(configure(queue));
    put(queue, bytes(5));
    Descriptor twoByteElements = queue.dupeDesc();
    twoByteElements.quantum = 2;
    EXPECT_FALSE(configure(twoByteElements));
    EXPECT_FALSE(read("/f", 5));
    EXPECT_EQ(mService.takeLog(), (LogLines{kInvalidQueue, kNoQueue}));
}

// --- Clients that must not be trusted. What the queue itself refuses has tests of its own; here it
// is about what remains of it in the service.

ndk::ScopedFileDescriptor sealed(size_t size) {
    ndk::ScopedFileDescriptor fd(::memfd_create("hostile", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    EXPECT_EQ(::ftruncate(fd.get(), static_cast<off_t>(size)), 0);
    EXPECT_EQ(::fcntl(fd.get(), F_ADD_SEALS, F_SEAL_SHRINK), 0);
    return fd;
}

ndk::ScopedFileDescriptor pipeEnd() {
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    ::close(ends[0]);
    return ndk::ScopedFileDescriptor(ends[1]);
}

const std::vector<std::function<void(Descriptor&)>> kHostileChanges = {
        [](Descriptor& d) { d.grantors[2].extent = -100; },
        [](Descriptor& d) { d.grantors[2].extent = INT64_MAX; },
        [](Descriptor& d) { d.grantors[2].offset = INT32_MAX - 7; },
        [](Descriptor& d) { d.grantors.pop_back(); },
        [](Descriptor& d) { d.grantors[1].fdIndex = 1; },
        [](Descriptor& d) { d.grantors[2].extent = 1 << 20; },
        [](Descriptor& d) { d.grantors[0].offset = 4; },
        [](Descriptor& d) { d.grantors[1].offset = 0; },
        [](Descriptor& d) { d.grantors[2].extent = 0; },
        [](Descriptor& d) { d.quantum = 4; },
        [](Descriptor& d) { d.handle.fds[0] = pipeEnd(); },
        [](Descriptor& d) { d.handle.fds[0].set(::open("/data", O_RDONLY | O_DIRECTORY)); },
        [](Descriptor& d) { d.handle.fds[0].set(::socket(AF_UNIX, SOCK_STREAM, 0)); },
        [](Descriptor& d) { d.handle.fds[0].set(::open("/dev/null", O_RDWR)); },
};

TEST_P(Transfer, RefusesHostileDescriptorsAndKeepsNothingOfThem) {
    Queue good(100);
    ASSERT_TRUE(configure(good));
    mService.takeLog();
    const size_t descriptors = openDescriptors(mService.process());
    const size_t mappings = memoryMappings(mService.process());
    for (size_t i = 0; i < 20 * kHostileChanges.size(); ++i) {
        Descriptor desc = good.dupeDesc();
        kHostileChanges[i % kHostileChanges.size()](desc);
        EXPECT_FALSE(configure(desc)) << i % kHostileChanges.size();
        EXPECT_EQ(mService.takeLog(), LogLines{kInvalidQueue});
    }
    ASSERT_TRUE(configure(good));
    put(good, bytes(3));
    EXPECT_TRUE(read("/f", 3));
    EXPECT_EQ(openDescriptors(mService.process()), descriptors);
    EXPECT_LE(memoryMappings(mService.process()), mappings + kSlack);
}

TEST_P(Transfer, CannotHaveTheMemoryTakenAwayAgain) {
    Queue queue(8000);
    Descriptor desc = queue.dupeDesc();
    ASSERT_TRUE(configure(desc));
    EXPECT_NE(::ftruncate(desc.handle.fds[0].get(), 0), 0);
    put(queue, bytes(8000));
    EXPECT_TRUE(read("/f", 8000));
}

TEST_P(Transfer, SurvivesCountersThatMakeNoSense) {
    const auto memory = sealed(4096);
    auto* counters = static_cast<uint64_t*>(
            ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, memory.get(), 0));
    Descriptor desc;
    desc.grantors = {{0, 0, 8}, {0, 8, 8}, {0, 16, 100}};
    desc.handle.fds.push_back(memory.dup());
    desc.quantum = 1;
    ASSERT_TRUE(configure(desc));
    const std::pair<uint64_t, uint64_t> senseless[] = {
            {0, 101}, {0, UINT64_MAX}, {5, 4}, {UINT64_MAX, UINT64_MAX - 1}};
    for (const auto& [readCounter, writeCounter] : senseless) {
        counters[0] = readCounter;
        counters[1] = writeCounter;
        EXPECT_FALSE(read("/f", 1));
        EXPECT_EQ(mService.takeLog(), LogLines{kNotRead});
        EXPECT_EQ(counters[0], writeCounter);
    }
    counters[1] += 2;
    EXPECT_TRUE(read("/f", 2));
    ::munmap(counters, 4096);
}

TEST_P(Transfer, LeavesNothingBehindAfterManyRounds) {
    const std::string block = bytes(300);
    const auto rounds = [&](int count) {
        for (int i = 0; i < count; ++i) {
            Queue queue(300);
            ASSERT_TRUE(configure(queue));
            ASSERT_TRUE(put(queue, block));
            ASSERT_TRUE(read("/f", 300));
            mService.takeLog();
        }
    };
    rounds(100);
    const size_t descriptors = openDescriptors(mService.process());
    const size_t mappings = memoryMappings(mService.process());
    rounds(10000);
    EXPECT_EQ(openDescriptors(mService.process()), descriptors);
    EXPECT_LE(memoryMappings(mService.process()), mappings + kSlack);
}

INSTANTIATE_TEST_SUITE_P(, Transfer, testing::Values(From::kSameProcess, From::kOtherProcess),
                         [](const auto& each) { return nameOf(each.param); });

// In this program's root a file system of 64 KiB is mounted at /data/vendor/lum/full.
TEST(TransferToAFullDisk, IsNeverAnsweredWithTrue) {
    if (!hasRealMounts()) GTEST_SKIP() << "left out: the root has no real mounts, so no full disk";
    ServiceUnderTest service(From::kSameProcess);
    Queue queue(1 << 20);
    bool result = false;
    service->configure(queue.dupeDesc(), &result);
    ASSERT_TRUE(put(queue, std::string(1 << 20, 'x')));
    service->request_read("/full/large", 1 << 20, &result);
    EXPECT_FALSE(result);
    EXPECT_EQ(service.takeLog(), (LogLines{error("[ERROR] Failed to write file"), kNotStored}));
    EXPECT_EQ(namesIn(kRoot + "/full"), std::vector<std::string>{});
}

}  // namespace
