// The queue's descriptor in a parcel, byte for byte, and what is read from an older or newer peer.
#include <aidl/android/hardware/common/fmq/MQDescriptor.h>
#include <aidl/android/hardware/common/fmq/SynchronizedReadWrite.h>
#include <aidl/android/hardware/common/fmq/UnsynchronizedWrite.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using ::aidl::android::hardware::common::NativeHandle;
using ::aidl::android::hardware::common::fmq::GrantorDescriptor;
using ::aidl::android::hardware::common::fmq::MQDescriptor;
using ::aidl::android::hardware::common::fmq::SynchronizedReadWrite;
using ::aidl::android::hardware::common::fmq::UnsynchronizedWrite;
using ::ndk::ScopedAParcel;
using ::ndk::ScopedFileDescriptor;
using Descriptor = MQDescriptor<int8_t, SynchronizedReadWrite>;
using Words = std::vector<int32_t>;

static_assert(std::is_same_v<decltype(GrantorDescriptor::fdIndex), int32_t>);
static_assert(std::is_same_v<decltype(GrantorDescriptor::offset), int32_t>);
static_assert(std::is_same_v<decltype(GrantorDescriptor::extent), int64_t>);
static_assert(std::is_same_v<std::underlying_type_t<UnsynchronizedWrite>, int8_t>);

Words wordsOf(const AParcel* parcel) {
    Words words(static_cast<size_t>(AParcel_getDataSize(parcel)) / 4);
    AParcel_setDataPosition(parcel, 0);
    for (int32_t& word : words) EXPECT_EQ(AParcel_readInt32(parcel, &word), STATUS_OK);
    AParcel_setDataPosition(parcel, 0);
    return words;
}

ScopedAParcel parcelOf(const Words& words) {
    ScopedAParcel parcel(AParcel_create());
    for (const int32_t word : words) AParcel_writeInt32(parcel.get(), word);
    AParcel_setDataPosition(parcel.get(), 0);
    return parcel;
}

ScopedFileDescriptor someMemory() {
    return ScopedFileDescriptor(memfd_create("test", MFD_CLOEXEC));
}

Descriptor hundredBytes() {
    Descriptor desc;
    desc.grantors = {{0, 0, 8}, {0, 8, 8}, {0, 16, 100}};
    desc.handle.fds.push_back(someMemory());
    desc.quantum = 1;
    desc.flags = 1;
    return desc;
}

// The 28 bytes that stand for the descriptor itself say where it is, which differs.
constexpr ptrdiff_t kDescriptorObject = 25;
constexpr ptrdiff_t kDescriptorWords = 7;

TEST(QueueDescriptor, IsLaidOutAsOnADevice) {
    const ScopedAParcel parcel(AParcel_create());
    ASSERT_EQ(ndk::AParcel_writeData(parcel.get(), hundredBytes()), STATUS_OK);
    Words words = wordsOf(parcel.get());
    const Words expected = {1, 0x88, 3,                 // not null, size, three regions
                            1, 0x14, 0, 0,  8,   0,     //
                            1, 0x14, 0, 8,  8,   0,     //
                            1, 0x14, 0, 16, 100, 0,     //
                            1, 0x2c, 1, 1,              // handle: one descriptor, not null
                            0, 0,    0, 0,  0,   0, 0,  // the descriptor
                            0,                          // no integers
                            1, 1};                      // quantum, flags
    ASSERT_EQ(words.size(), expected.size());
    const auto object = words.begin() + kDescriptorObject;
    std::fill(object, object + kDescriptorWords, 0);
    EXPECT_EQ(words, expected);
}

TEST(QueueDescriptor, ComesBackAsItWasSent) {
    Descriptor sent = hundredBytes();
    sent.grantors.push_back({INT32_MIN, INT32_MAX, INT64_MIN});
    sent.handle.ints = {-1, 7};
    const ScopedAParcel parcel(AParcel_create());
    ASSERT_EQ(ndk::AParcel_writeData(parcel.get(), sent), STATUS_OK);
    AParcel_setDataPosition(parcel.get(), 0);

    Descriptor received;
    ASSERT_EQ(ndk::AParcel_readData(parcel.get(), &received), STATUS_OK);
    EXPECT_EQ(AParcel_getDataPosition(parcel.get()), AParcel_getDataSize(parcel.get()));
    EXPECT_EQ(received.grantors, sent.grantors);
    EXPECT_EQ(received.handle.ints, sent.handle.ints);
    EXPECT_EQ(received.quantum, 1);
    EXPECT_EQ(received.flags, 1);
    ASSERT_EQ(received.handle.fds.size(), 1U);
    EXPECT_NE(received.handle.fds[0].get(), sent.handle.fds[0].get());
    EXPECT_GE(received.handle.fds[0].get(), 0);
}

TEST(QueueDescriptor, CannotBeSentWithoutItsMemory) {
    Descriptor desc = hundredBytes();
    desc.handle.fds[0].set(-1);
    const ScopedAParcel parcel(AParcel_create());
    EXPECT_EQ(ndk::AParcel_writeData(parcel.get(), desc), STATUS_UNEXPECTED_NULL);
}

TEST(Parcelable, KeepsTheFieldsThatAnOlderPeerDoesNotSend) {
    const ScopedAParcel parcel = parcelOf({12, 4, 16, 99});
    GrantorDescriptor grantor{1, 2, 3};
    EXPECT_EQ(grantor.readFromParcel(parcel.get()), STATUS_OK);
    EXPECT_EQ(grantor, (GrantorDescriptor{4, 16, 3}));
    EXPECT_EQ(AParcel_getDataPosition(parcel.get()), 12);
}

TEST(Parcelable, SkipsWhatANewerPeerSendsBeyondTheFields) {
    const ScopedAParcel parcel = parcelOf({28, 4, 16, 5, 0, 77, 78, 99});
    GrantorDescriptor grantor;
    EXPECT_EQ(grantor.readFromParcel(parcel.get()), STATUS_OK);
    EXPECT_EQ(grantor, (GrantorDescriptor{4, 16, 5}));
    int32_t next = 0;
    EXPECT_EQ(AParcel_readInt32(parcel.get(), &next), STATUS_OK);
    EXPECT_EQ(next, 99);
}

TEST(Parcelable, RefusesASizeThatTheParcelDoesNotHold) {
    for (const int32_t size : {INT32_MIN, -1, 0, 3, 24, INT32_MAX}) {
        const ScopedAParcel parcel = parcelOf({size, 4, 16, 5, 0});
        GrantorDescriptor grantor;
        EXPECT_EQ(grantor.readFromParcel(parcel.get()), STATUS_BAD_VALUE) << size;
    }
}

TEST(Parcelable, RefusesCountsThatTheParcelDoesNotHold) {
    for (const int32_t count : {-1, 4, INT32_MAX}) {
        const ScopedAParcel parcel = parcelOf({12, count, 0});
        NativeHandle handle;
        EXPECT_NE(handle.readFromParcel(parcel.get()), STATUS_OK) << count;
    }
}

TEST(CommonTypes, CompareAndPrintTheirFields) {
    EXPECT_LT((GrantorDescriptor{0, 8, 8}), (GrantorDescriptor{0, 16, 1}));
    EXPECT_EQ((GrantorDescriptor{0, 16, 100}).toString(),
              "GrantorDescriptor{fdIndex: 0, offset: 16, extent: 100}");
    NativeHandle handle;
    handle.ints = {1};
    EXPECT_NE(handle, NativeHandle());
    EXPECT_EQ(toString(SynchronizedReadWrite::EMPTY), "EMPTY");
    EXPECT_EQ(std::string(GrantorDescriptor::descriptor),
              "android.hardware.common.fmq.GrantorDescriptor");
    EXPECT_EQ(std::string(NativeHandle::descriptor), "android.hardware.common.NativeHandle");
    EXPECT_EQ(std::string(Descriptor::descriptor), "android.hardware.common.fmq.MQDescriptor");
}

}  // namespace
