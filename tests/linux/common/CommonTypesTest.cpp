// The queue's descriptor in a parcel, byte for byte, and what is read from an older or newer peer.
#include <aidl/android/hardware/common/fmq/MQDescriptor.h>
#include <aidl/android/hardware/common/fmq/SynchronizedReadWrite.h>
#include <aidl/android/hardware/common/fmq/UnsynchronizedWrite.h>
#include <android/binder_parcel_utils.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

namespace {

using ::aidl::android::hardware::common::fmq::GrantorDescriptor;
using ::aidl::android::hardware::common::fmq::MQDescriptor;
using ::aidl::android::hardware::common::fmq::SynchronizedReadWrite;
using ::aidl::android::hardware::common::fmq::UnsynchronizedWrite;
using ::ndk::ScopedAParcel;
using Descriptor = MQDescriptor<int8_t, SynchronizedReadWrite>;
using Words = std::vector<int32_t>;

static_assert(sizeof(UnsynchronizedWrite) == 1);

TEST(QueueDescriptor, IsLaidOutAsOnADevice) {
    Descriptor sent;
    sent.grantors = {{0, 0, 8}, {0, 8, 8}, {0, 16, 100}};
    sent.handle.fds.emplace_back(::memfd_create("test", MFD_CLOEXEC));
    sent.handle.ints = {7};
    sent.quantum = 1;
    sent.flags = 2;
    const ScopedAParcel parcel(AParcel_create());
    ASSERT_EQ(ndk::AParcel_writeData(parcel.get(), sent), STATUS_OK);
    AParcel_setDataPosition(parcel.get(), 0);
    Words words(static_cast<size_t>(AParcel_getDataSize(parcel.get())) / 4);
    for (int32_t& word : words) AParcel_readInt32(parcel.get(), &word);
    const Words expected = {1, 0x8c, 3,                 // not null, size, three regions
                            1, 0x14, 0, 0,  8,   0,     //
                            1, 0x14, 0, 8,  8,   0,     //
                            1, 0x14, 0, 16, 100, 0,     //
                            1, 0x30, 1, 1,              // handle: one descriptor, not null
                            0, 0,    0, 0,  0,   0, 0,  // the descriptor says where it is
                            1, 7,                       // one integer
                            1, 2};                      // quantum, flags
    ASSERT_EQ(words.size(), expected.size());
    std::fill_n(words.begin() + 25, 7, 0);
    EXPECT_EQ(words, expected);
    EXPECT_EQ(toString(SynchronizedReadWrite::EMPTY) + toString(UnsynchronizedWrite{1}), "EMPTY1");
    EXPECT_EQ(toString(SynchronizedReadWrite{2}) + toString(UnsynchronizedWrite::EMPTY), "2EMPTY");
    sent.handle.fds[0].set(-1);
    EXPECT_EQ(ndk::AParcel_writeData(parcel.get(), sent), STATUS_UNEXPECTED_NULL);
}

TEST(Parcelable, KeepsFieldsThatAnOlderPeerLacksAndSkipsThoseOfANewerOne) {
    const std::pair<Words, GrantorDescriptor> cases[] = {
            {{12, 4, 16, 99}, {4, 16, 3}}, {{28, 4, 16, 5, 0, 77, 78, 99}, {4, 16, 5}}};
    for (const auto& [words, expected] : cases) {
        const ScopedAParcel parcel(AParcel_create());
        for (const int32_t word : words) AParcel_writeInt32(parcel.get(), word);
        AParcel_setDataPosition(parcel.get(), 0);
        GrantorDescriptor grantor{1, 2, 3};
        EXPECT_EQ(grantor.readFromParcel(parcel.get()), STATUS_OK);
        EXPECT_EQ(grantor, expected);
        EXPECT_EQ(AParcel_getDataPosition(parcel.get()), words[0]);
    }
}

}  // namespace
