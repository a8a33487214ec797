// Large blocks, many rounds and full disks. What one call does is the corpus of fuzz/CallFuzz.cpp.
#include <fmq/AidlMessageQueue.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Files.h"
#include "ServiceUnderTest.h"

namespace {

using namespace support;
using Queue = LumvndhalImpl::ByteQueue;
using Descriptor = LumvndhalImpl::ByteQueueDescriptor;

const std::string kRoot = kDropbox;
const LogLine kStored = info("LumvndhalImpl::request_read(), bres=1 ");
const LogLine kNotRead = error("[ERROR] Failed to read data from fmq");
const LogLine kRefused = error("[ERROR] Path is not correct");
const LogLine kInvalidQueue = error("[ERROR] mFmqSync is nullptr or invalid");

// Mappings that an allocator may make for itself meanwhile; far fewer than there are rounds.
constexpr size_t kSlack = 100;
// Memory that allocators keep for themselves.
constexpr size_t kSlackPages = MEMORY_SLACK_KIB / 4;

class Transfer : public testing::Test {
  protected:
    bool configure(const Descriptor& desc) {
        bool result = false;
        EXPECT_TRUE(mService->configure(desc, &result).isOk());
        return result;
    }
    bool read(const std::string& path, int32_t count) {
        bool result = false;
        EXPECT_TRUE(mService->request_read(path, count, &result).isOk());
        return result;
    }
    static bool put(Queue& queue, const std::string& text) {
        return queue.write(reinterpret_cast<const int8_t*>(text.data()), text.size());
    }

    ServiceUnderTest mService{From::kSameProcess};
};

// Neither what is refused nor what is stored. What the queue itself refuses has tests of its own.
TEST_F(Transfer, LeavesNothingBehindAfterManyRounds) {
    const std::string block(5000, 'b');
    const auto rounds = [&](int count) {
        for (int i = 0; i < count; ++i) {
            Queue queue(5000);
            Descriptor hostile = queue.dupeDesc();
            hostile.grantors[2].extent = 1 << 20;
            EXPECT_FALSE(configure(hostile));
            ASSERT_TRUE(configure(queue.dupeDesc()));
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
    ASSERT_TRUE(configure(queue.dupeDesc()));
    const std::string block(static_cast<size_t>(kSize), 'b');
    ASSERT_TRUE(put(queue, block));
    const size_t memory = pagesOfMemory();
    EXPECT_FALSE(read("/f", INT32_MAX));
    EXPECT_TRUE(read("/f", kSize));
    EXPECT_TRUE(readFile(kRoot + "/f") == block);
    EXPECT_LE(pagesOfMemory(), memory + kSlackPages);
}

}  // namespace
