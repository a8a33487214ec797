#include <fmq/AidlMessageQueue.h>
#include <gtest/gtest.h>

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
const LogLine kRefused = error("[ERROR] Path is not correct");
const LogLine kInvalidQueue = error("[ERROR] mFmqSync is nullptr or invalid");

// Mappings that an allocator may make for itself meanwhile; far fewer than there are rounds.
constexpr size_t kSlack = 100;
// Memory that allocators keep for themselves.
constexpr size_t kSlackPages = MEMORY_SLACK_KIB / 4;

std::string bytes(size_t count, char first = '\0') {
    std::string text(count, '\0');
    std::iota(text.begin(), text.end(), first);
    return text;
}

bool put(Queue& queue, const std::string& text) {
    return queue.write(reinterpret_cast<const int8_t*>(text.data()), text.size());
}

class Transfer : public testing::Test {
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

    ServiceUnderTest mService{From::kSameProcess};
};

TEST_F(Transfer, StoresTheBytesInTheOrderInWhichTheyWereWritten) {
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

TEST_F(Transfer, ShowsAPathFromItsEighteenthCharacterOn) {
    Queue queue(100);
    ASSERT_TRUE(configure(queue));
    put(queue, bytes(3));
    EXPECT_TRUE(read("/1234567890123456", 1));
    EXPECT_TRUE(read("/12345678901234567", 2));
    EXPECT_FALSE(read("/12345678901234567", 4));
    EXPECT_EQ(mService.takeLog(), (LogLines{kStored, info(kTaken + "7 count=2 read=1 "), kStored,
                                            info(kTaken + "7 count=4 read=0 "), kNotRead}));
}

TEST_F(Transfer, LeavesTheQueueAloneUntilThereAreEnoughBytes) {
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

TEST_F(Transfer, LosesTheBytesOfAPathThatItCannotUse) {
    Queue queue(100);
    ASSERT_TRUE(configure(queue));
    put(queue, bytes(30));
    EXPECT_FALSE(read("/../f", 10));
    EXPECT_FALSE(read("/missing/f", 10));
    EXPECT_EQ(mService.takeLog(), (LogLines{kRefused, error("[ERROR] Can't open output file")}));
    EXPECT_TRUE(read("/f", 10));
    EXPECT_EQ(readFile(kRoot + "/f"), bytes(10, 20));
}

TEST_F(Transfer, LetsTheQueueGoWhenAParameterIsWrong) {
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

TEST_F(Transfer, EmptiesTheQueueThatItIsGiven) {
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

TEST_F(Transfer, KeepsNoEarlierQueueAfterOneThatItRefuses) {
    Queue queue(10);
    ASSERT_TRUE(configure(queue));
    put(queue, bytes(5));
    Descriptor twoByteElements = queue.dupeDesc();
    twoByteElements.quantum = 2;
    EXPECT_FALSE(configure(twoByteElements));
    EXPECT_FALSE(read("/f", 5));
    EXPECT_EQ(mService.takeLog(), (LogLines{kInvalidQueue, kNoQueue}));
}

// Neither what is refused nor what is stored. What the queue itself refuses has tests of its own.
TEST_F(Transfer, LeavesNothingBehindAfterManyRounds) {
    const std::string block = bytes(5000);
    const auto rounds = [&](int count) {
        for (int i = 0; i < count; ++i) {
            Queue queue(5000);
            Descriptor hostile = queue.dupeDesc();
            hostile.grantors[2].extent = 1 << 20;
            EXPECT_FALSE(configure(hostile));
            ASSERT_TRUE(configure(queue));
            EXPECT_FALSE(read("/f", 5000));
            ASSERT_TRUE(put(queue, block));
            EXPECT_FALSE(read("/../f", 2500));
            EXPECT_TRUE(read("/f", 2500));
            EXPECT_EQ(mService.takeLog(), (LogLines{kInvalidQueue, kNotRead, kRefused, kStored}));
        }
    };
    rounds(10);
    const size_t descriptors = openDescriptors();
    const size_t mappings = memoryMappings();
    const size_t memory = pagesOfMemory();
    rounds(1000);
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_LE(memoryMappings(), mappings + kSlack);
    EXPECT_LE(pagesOfMemory(), memory + kSlackPages);
}

// Large enough for a buffer that is mapped by itself.
TEST_F(Transfer, StoresALargeBlockAndTakesNoMemoryForOneThatIsNotThere) {
    constexpr int32_t kSize = (16 << 20) + 5;
    Queue queue(kSize);
    ASSERT_TRUE(configure(queue));
    const std::string block(static_cast<size_t>(kSize), 'b');
    ASSERT_TRUE(put(queue, block));
    const size_t memory = pagesOfMemory();
    EXPECT_FALSE(read("/f", INT32_MAX));
    EXPECT_TRUE(read("/f", kSize));
    EXPECT_TRUE(readFile(kRoot + "/f") == block);
    EXPECT_LE(pagesOfMemory(), memory + kSlackPages);
}

TEST_F(Transfer, ToAFullDiskIsNeverAnsweredWithTrue) {
    if (!hasRealMounts()) GTEST_SKIP() << "left out: without real mounts there is no full disk";
    Queue queue(1 << 20);
    ASSERT_TRUE(configure(queue));
    ASSERT_TRUE(put(queue, std::string(1 << 20, 'x')));
    EXPECT_FALSE(read("/full/large", 1 << 20));
    EXPECT_EQ(mService.takeLog(), (LogLines{error("[ERROR] Failed to write file"), kNotStored}));
    EXPECT_EQ(namesIn(kRoot + "/full"), std::vector<std::string>{});
}

}  // namespace
