// Which descriptors of a peer a queue accepts, and that the others cost nothing but a line.
#include <android/log.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "Files.h"
#include "QueueSupport.h"

namespace queue_test {
namespace {

constexpr size_t kMemory = 8192;

::ndk::ScopedFileDescriptor makeMemory(size_t size, unsigned flags = 0) {
    ::ndk::ScopedFileDescriptor fd(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING | flags));
    if (fd.get() < 0) return fd;
    EXPECT_EQ(ftruncate(fd.get(), static_cast<off_t>(size)), 0);
    EXPECT_EQ(fcntl(fd.get(), F_ADD_SEALS, F_SEAL_SHRINK), 0);
    return fd;
}

// Good in every respect; each case changes one thing.
Descriptor goodDescriptor() {
    Descriptor desc;
    desc.grantors = {{0, 0, 8}, {0, 8, 8}, {0, 16, 100}, {0, 120, 4}};
    desc.handle.fds.push_back(makeMemory(kMemory));
    desc.quantum = 1;
    desc.flags = 1;
    return desc;
}

std::string gLine;

void keepLine(const __android_log_message* message) {
    gLine += std::to_string(message->priority) + ' ' + message->tag + ": " + message->message;
}

// Refuses it every time, with the one line that says why, and holds nothing of it. Mappings may
// become a few more, which an allocator makes for itself.
void expectRefused(const Descriptor& desc, const std::string& reason) {
    constexpr size_t kRounds = 100;
    const size_t descriptors = support::openDescriptors();
    const size_t mappings = support::memoryMappings();
    __android_log_set_logger(keepLine);
    for (size_t round = 0; round < kRounds; ++round) {
        gLine.clear();
        Queue queue(desc);
        EXPECT_FALSE(queue.isValid());
        EXPECT_TRUE(gLine.rfind("6 FMQ: ", 0) == 0 && gLine.find(reason) != gLine.npos) << gLine;
        int8_t byte = 0;
        EXPECT_FALSE(queue.read(&byte, 1) || queue.write(&byte, 1) || queue.read(&byte, 0));
        EXPECT_EQ(queue.availableToRead() + queue.availableToWrite() + queue.getQuantumCount(), 0U);
        EXPECT_TRUE(queue.getEventFlagWord() == nullptr && queue.dupeDesc().grantors.empty());
    }
    __android_log_set_logger(__android_log_stderr_logger);
    EXPECT_EQ(support::openDescriptors(), descriptors);
    EXPECT_LT(support::memoryMappings(), mappings + kRounds);
}

TEST(Queue, RefusesRegionsThatAreNotWithinTheirMemory) {
    using Regions = std::vector<std::pair<size_t, GrantorDescriptor>>;
    const std::pair<const char*, Regions> cases[] = {
            // The fourth counts though it is ignored otherwise.
            {"negative",
             {{0, {-1, 0, 8}}, {2, {0, -8, 100}}, {2, {0, 16, INT64_MIN}}, {4, {0, -1, 0}}}},
            {"there is no descriptor", {{1, {1, 8, 8}}, {2, {INT32_MAX, 16, 100}}}},
            {"bytes are not its size",
             {{2, {0, 16, 0}}, {0, {0, 0, 7}}, {1, {0, 8, 0}}, {3, {0, 120, 3}}}},
            {"aligned",
             {{0, {0, 1028, 8}}, {1, {0, 1025, 8}}, {2, {0, 20, 100}}, {3, {0, 122, 4}}}},
            {"beyond",
             {{2, {0, 4096, 4097}},
              {0, {0, 8192, 8}},
              {2, {0, INT32_MAX - 7, 100}},
              {2, {0, 16, INT64_MAX}}}},
            {"overlap", {{1, {0, 0, 8}}, {0, {0, 64, 8}}, {3, {0, 112, 4}}, {0, {0, 0, 9}}}},
    };
    for (const auto& [reason, regions] : cases) {
        for (const auto& [index, region] : regions) {
            Descriptor desc = goodDescriptor();
            if (index == desc.grantors.size()) desc.grantors.emplace_back();
            desc.grantors[index] = region;
            expectRefused(desc, reason);
        }
    }
}

void reopen(Descriptor& desc, int flags) {
    const std::string path = "/proc/self/fd/" + std::to_string(desc.handle.fds[0].get());
    desc.handle.fds[0].set(open(path.c_str(), flags | O_CLOEXEC));
}

void overlapThroughAnotherDescriptor(Descriptor& desc) {
    desc.handle.fds.push_back(desc.handle.fds[0].dup());
    desc.grantors[2] = {1, 8, 50};
}

void takeAllAddressSpace(Descriptor& desc) {
    desc.handle.fds[0] = makeMemory(size_t{1} << 45);
    desc.grantors[2] = {0, 128, int64_t{1} << 44};
}

TEST(Queue, RefusesWhatIsNoSealedMemoryOfTheRightShape) {
    const struct {
        const char* reason;
        std::function<void(Descriptor&)> change;
    } cases[] = {
            {"no descriptor 0", [](Descriptor& d) { d.handle.fds.clear(); }},
            {"overlap", overlapThroughAnotherDescriptor},
            {"span", takeAllAddressSpace},
            {"sealable",
             [](Descriptor& d) { d.handle.fds[0].set(socket(AF_UNIX, SOCK_STREAM, 0)); }},
            {"sealable", [](Descriptor& d) { d.handle.fds[0].set(open("/dev/zero", O_RDWR)); }},
            {"Bad file descriptor", [](Descriptor& d) { reopen(d, O_PATH); }},
            {"cannot map", [](Descriptor& d) { reopen(d, O_RDONLY); }},
            {"beyond", [](Descriptor& d) { d.handle.fds[0] = makeMemory(0); }},
            // Those may be missing when touched. Some kernels have none at all.
            {"", [](Descriptor& d) { d.handle.fds[0] = makeMemory(2 << 20, MFD_HUGETLB); }},
    };
    for (const auto& refused : cases) {
        Descriptor desc = goodDescriptor();
        refused.change(desc);
        expectRefused(desc, refused.reason);
    }
}

TEST(Queue, IsNotValidAndDescribesNothingWhereDescriptorsAreUsedUp) {
    Queue queue(100);
    const Descriptor desc = goodDescriptor();
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none = {0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const bool isAny = Queue(100).isValid() || Queue(desc).isValid();
    const Descriptor described = queue.dupeDesc();
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_FALSE(isAny);
    EXPECT_TRUE(described.grantors.empty() && described.handle.fds.empty());
    EXPECT_EQ(queue.dupeDesc().handle.fds.size(), 1U);
}

TEST(Queue, AcceptsRegionsInAnyOrderAndPlaceAndWhatItDoesNotKnow) {
    const std::vector<GrantorDescriptor> accepted[] = {
            {{0, 0, 8}, {0, 8, 8}, {0, 16, 100}, {0, 120, 4}, {77, 3, INT64_MAX}},
            {{0, 0, 4096}, {0, 4096, 1000}, {0, 5096, kMemory - 5096}},
            {{0, 8184, 8}, {0, 8176, 8}, {0, 4104, 1000}},
            {{0, 0, 8}, {1, 0, 8}, {2, 0, 100}, {3, 0, 4}},
    };
    for (const auto& grantors : accepted) {
        Descriptor desc = goodDescriptor();
        desc.grantors = grantors;
        desc.flags = 2;
        desc.handle.ints = {-1, 5};
        for (int i = 0; i < 3; ++i) desc.handle.fds.push_back(makeMemory(kMemory));
        desc.handle.fds.emplace_back(-1);
        Queue reader(desc);
        Queue writer(reader.dupeDesc());
        EXPECT_EQ(writer.dupeDesc().flags, 2);
        const auto sent = streamBytes(5, static_cast<size_t>(grantors[2].extent));
        std::vector<int8_t> received(sent.size());
        ASSERT_TRUE(writer.write(sent.data(), sent.size()));
        ASSERT_TRUE(reader.read(received.data(), sent.size()));
        EXPECT_EQ(received, sent);
    }
}

}  // namespace
}  // namespace queue_test
