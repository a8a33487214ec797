// Which descriptors of a peer a queue accepts, and that the others cost nothing but a line.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <functional>
#include <ostream>

#include "QueueSupport.h"

namespace queue_test {
namespace {

constexpr size_t kMemory = 8192;
constexpr int64_t kGigabyte = int64_t{1} << 30;

// Good in every respect; each case changes one thing.
Descriptor goodDescriptor() {
    Descriptor desc;
    desc.grantors = {{0, 0, 8}, {0, 8, 8}, {0, 16, 100}, {0, 120, 4}};
    desc.handle.fds.push_back(makeMemory(kMemory));
    desc.quantum = 1;
    desc.flags = 1;
    return desc;
}

struct Case {
    const char* name;
    std::function<void(Descriptor&)> change;
    const char* message = "";  // part of the line that a refusal logs
};

void PrintTo(const Case& tested, std::ostream* out) {
    *out << tested.name;
}

void useFile(Descriptor& desc, int fd) {
    EXPECT_GE(fd, 0);
    desc.handle.fds[0].set(fd);
}

void usePipe(Descriptor& desc) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    useFile(desc, ends[1]);
}

void reopenMemory(Descriptor& desc, int flags) {
    const std::string path = "/proc/self/fd/" + std::to_string(desc.handle.fds[0].get());
    useFile(desc, open(path.c_str(), flags | O_CLOEXEC));
}

const Case kRefused[] = {
        {"NegativeQuantum", [](Descriptor& d) { d.quantum = -1; }, "negative"},
        {"NegativeFlags", [](Descriptor& d) { d.flags = -1; }, "negative"},
        {"NegativeIndex", [](Descriptor& d) { d.grantors[0].fdIndex = -1; }, "negative"},
        {"NegativeOffset", [](Descriptor& d) { d.grantors[2].offset = -8; }, "negative"},
        {"NegativeExtent", [](Descriptor& d) { d.grantors[2].extent = INT64_MIN; }, "negative"},
        {"NegativeInARegionThatIsIgnored",
         [](Descriptor& d) {
             d.grantors.push_back({0, -1, 0});
         },
         "negative"},
        {"NoRegions", [](Descriptor& d) { d.grantors.clear(); }, "0 regions"},
        {"TwoRegions", [](Descriptor& d) { d.grantors.resize(2); }, "2 regions"},
        {"NoMemory", [](Descriptor& d) { d.handle.fds.clear(); }, "no descriptor 0"},
        {"IndexOfNothing", [](Descriptor& d) { d.grantors[1].fdIndex = 1; }, "no descriptor 1"},
        {"LargestIndex", [](Descriptor& d) { d.grantors[2].fdIndex = INT32_MAX; }, "no descriptor"},
        {"QuantumOfNothing", [](Descriptor& d) { d.quantum = 0; }, "elements"},
        {"QuantumOfTwo", [](Descriptor& d) { d.quantum = 2; }, "elements"},
        {"EmptyRing", [](Descriptor& d) { d.grantors[2].extent = 0; }, "ring: 0 bytes"},
        {"ShortReadCounter", [](Descriptor& d) { d.grantors[0].extent = 7; }, "read counter: 7"},
        {"ShortWriteCounter", [](Descriptor& d) { d.grantors[1].extent = 0; }, "write counter: 0"},
        {"ShortEventFlag", [](Descriptor& d) { d.grantors[3].extent = 3; }, "event flag: 3"},
        {"UnalignedReadCounter",
         [](Descriptor& d) {
             d.grantors[0] = {0, 1028, 8};
         },
         "aligned"},
        {"UnalignedWriteCounter",
         [](Descriptor& d) {
             d.grantors[1] = {0, 1025, 8};
         },
         "aligned"},
        {"UnalignedRing", [](Descriptor& d) { d.grantors[2].offset = 20; }, "aligned"},
        {"UnalignedEventFlag", [](Descriptor& d) { d.grantors[3].offset = 122; }, "aligned"},
        {"RingLongerThanItsMemory",
         [](Descriptor& d) {
             d.grantors[2] = {0, 4096, 4097};
         },
         "beyond the 8192 bytes"},
        {"RegionBehindItsMemory", [](Descriptor& d) { d.grantors[0].offset = 8192; }, "beyond"},
        {"LargestOffset", [](Descriptor& d) { d.grantors[2].offset = INT32_MAX - 7; }, "beyond"},
        {"SumThatOverflows", [](Descriptor& d) { d.grantors[2].extent = INT64_MAX; }, "beyond"},
        {"OneCounterForBothEnds", [](Descriptor& d) { d.grantors[1].offset = 0; }, "overlap"},
        {"CounterInsideTheRing", [](Descriptor& d) { d.grantors[0].offset = 64; }, "overlap"},
        {"FlagInsideTheRing", [](Descriptor& d) { d.grantors[3].offset = 112; }, "overlap"},
        {"LongCounterOverTheNext", [](Descriptor& d) { d.grantors[0].extent = 9; }, "overlap"},
        {"OverlapThroughAnotherDescriptor",
         [](Descriptor& d) {
             d.handle.fds.push_back(duplicate(d.handle.fds[0].get()));
             d.grantors[2] = {1, 8, 50};
         },
         "overlap"},
        {"MoreAddressSpaceThanAnyQueueNeeds",
         [](Descriptor& d) {
             d.handle.fds[0] = makeMemory(size_t{1} << 45);
             d.grantors[2] = {0, 128, int64_t{1} << 44};
         },
         "span"},
        {"Pipe", usePipe, "sealable"},
        {"Directory", [](Descriptor& d) { useFile(d, open("/", O_RDONLY | O_CLOEXEC)); },
         "sealable"},
        {"Socket",
         [](Descriptor& d) { useFile(d, socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)); },
         "sealable"},
        {"Device", [](Descriptor& d) { useFile(d, open("/dev/zero", O_RDWR | O_CLOEXEC)); },
         "sealable"},
        {"FileOnDisk",
         [](Descriptor& d) { useFile(d, open("/proc/self/exe", O_RDONLY | O_CLOEXEC)); }, "seal"},
        {"NoDescriptor", [](Descriptor& d) { d.handle.fds[0].set(-1); }, "Bad file descriptor"},
        {"ClosedDescriptor", [](Descriptor& d) { close(d.handle.fds[0].get()); },
         "Bad file descriptor"},
        {"PathDescriptor", [](Descriptor& d) { reopenMemory(d, O_PATH); }, "Bad file descriptor"},
        {"ReadOnlyMemory", [](Descriptor& d) { reopenMemory(d, O_RDONLY); }, "cannot map"},
        {"UnsealedMemory", [](Descriptor& d) { d.handle.fds[0] = makeMemory(kMemory, 0); },
         "not sealed"},
        {"MemorySealedAgainstWriting",
         [](Descriptor& d) { d.handle.fds[0] = makeMemory(kMemory, F_SEAL_SHRINK | F_SEAL_WRITE); },
         "cannot map"},
        {"EmptyMemory", [](Descriptor& d) { d.handle.fds[0] = makeMemory(0); }, "beyond"},
};

class RefusedDescriptor : public testing::TestWithParam<Case> {};

TEST_P(RefusedDescriptor, LeavesAnInvalidQueueAndOneLine) {
    Descriptor desc = goodDescriptor();
    GetParam().change(desc);
    const Holdings before = Holdings::now();
    const LogCapture log;
    Queue queue(desc);
    EXPECT_FALSE(queue.isValid());
    EXPECT_EQ(Holdings::now(), before);
    ASSERT_EQ(LogCapture::lines().size(), 1U);
    EXPECT_THAT(LogCapture::lines()[0], testing::StartsWith("6 FMQ: "));
    EXPECT_THAT(LogCapture::lines()[0], testing::HasSubstr(GetParam().message));

    int8_t byte = 0;
    EXPECT_FALSE(queue.read(&byte, 1) || queue.write(&byte, 1) || queue.read(&byte, 0));
    EXPECT_EQ(queue.availableToRead() + queue.availableToWrite() + queue.getQuantumCount(), 0U);
    EXPECT_EQ(queue.getEventFlagWord(), nullptr);
    EXPECT_TRUE(queue.dupeDesc().grantors.empty());
}

std::string nameOf(const testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Queue, RefusedDescriptor, testing::ValuesIn(kRefused), nameOf);

const Case kAccepted[] = {
        {"AsItIs", [](Descriptor&) {}},
        {"NoEventFlag", [](Descriptor& d) { d.grantors.pop_back(); }},
        {"NoFlags", [](Descriptor& d) { d.flags = 0; }},
        {"OtherFlags", [](Descriptor& d) { d.flags = 2; }},
        {"RegionsThatNobodyKnows",
         [](Descriptor& d) {
             d.grantors.push_back({77, 3, kGigabyte});
         }},
        {"Integers",
         [](Descriptor& d) {
             d.handle.ints = {-1, 5};
         }},
        {"DescriptorsThatNobodyUses", [](Descriptor& d) { d.handle.fds.emplace_back(-1); }},
        {"LongCounters",
         [](Descriptor& d) {
             d.grantors = {{0, 0, 4096}, {0, 4096, 1000}, {0, 5096, 3096}};
         }},
        {"RingUpToTheLastByte",
         [](Descriptor& d) {
             d.grantors[2] = {0, 128, kMemory - 128};
         }},
        {"RingBeforeItsCounters",
         [](Descriptor& d) {
             d.grantors = {{0, 8184, 8}, {0, 8176, 8}, {0, 4104, 1000}};
         }},
        {"EachRegionInMemoryOfItsOwn",
         [](Descriptor& d) {
             for (int32_t i = 1; i < 4; ++i) {
                 d.handle.fds.push_back(makeMemory(kMemory));
                 d.grantors[static_cast<size_t>(i)].fdIndex = i;
             }
         }},
};

class AcceptedDescriptor : public testing::TestWithParam<Case> {};

TEST_P(AcceptedDescriptor, CarriesBytesBetweenTwoEnds) {
    Descriptor desc = goodDescriptor();
    GetParam().change(desc);
    const Holdings before = Holdings::now();
    {
        const LogCapture log;
        Queue reader(desc);
        Queue writer(reader.dupeDesc());
        ASSERT_TRUE(reader.isValid());
        ASSERT_TRUE(writer.isValid());
        EXPECT_EQ(reader.dupeDesc().flags, desc.flags);
        const size_t size = reader.getQuantumCount();
        EXPECT_EQ(size, static_cast<size_t>(desc.grantors[2].extent));
        const std::vector<int8_t> sent = streamBytes(5, size);
        std::vector<int8_t> received(size);
        ASSERT_TRUE(writer.write(sent.data(), size));
        ASSERT_TRUE(reader.read(received.data(), size));
        EXPECT_EQ(received, sent);
        EXPECT_TRUE(LogCapture::lines().empty());
    }
    EXPECT_EQ(Holdings::now(), before);
}

INSTANTIATE_TEST_SUITE_P(Queue, AcceptedDescriptor, testing::ValuesIn(kAccepted), nameOf);

TEST(Queue, RefusesARingThatHoldsPartOfAnElement) {
    using WideQueue = ::android::AidlMessageQueue<uint64_t, SynchronizedReadWrite>;
    const LogCapture log;
    auto desc = WideQueue(10).dupeDesc();
    desc.grantors[2].extent = 76;
    EXPECT_FALSE(WideQueue(desc).isValid());
    desc.grantors[2].extent = 72;
    EXPECT_EQ(WideQueue(desc).getQuantumCount(), 9U);
}

TEST(Queue, RefusesHugePagesForTheyMayBeMissingWhenTouched) {
    Descriptor desc = goodDescriptor();
    desc.handle.fds[0] = makeMemory(size_t{2} << 20, F_SEAL_SHRINK, MFD_HUGETLB);
    if (desc.handle.fds[0].get() < 0) GTEST_SKIP() << "this kernel has no huge pages";
    const LogCapture log;
    EXPECT_FALSE(Queue(desc).isValid());
    EXPECT_THAT(LogCapture::lines(), testing::ElementsAre(testing::HasSubstr("ordinary pages")));
}

TEST(Queue, CostsNoMemoryForAGigabyteThatIsNeverTouched) {
    Descriptor desc = goodDescriptor();
    desc.handle.fds[0] = makeMemory(2 * kGigabyte);
    desc.grantors[2] = {0, 128, kGigabyte};
    Queue queue(desc);
    ASSERT_TRUE(queue.isValid());
    EXPECT_EQ(queue.availableToWrite(), static_cast<size_t>(kGigabyte));
    struct stat file {};
    ASSERT_EQ(fstat(desc.handle.fds[0].get(), &file), 0);
    EXPECT_LE(file.st_blocks * 512, sysconf(_SC_PAGESIZE));
}

TEST(Queue, HoldsNothingAfterTenThousandRounds) {
    const Descriptor good = goodDescriptor();
    Descriptor bad = goodDescriptor();
    bad.grantors[3].offset = 112;  // found out after everything has been opened
    const LogCapture log;
    const Holdings before = Holdings::now();
    for (int round = 0; round < 10000; ++round) {
        ASSERT_TRUE(Queue(good).isValid());
        ASSERT_FALSE(Queue(bad).isValid());
        ASSERT_TRUE(Queue(10, true).isValid());
    }
    EXPECT_EQ(Holdings::now(), before);
}

}  // namespace
}  // namespace queue_test
