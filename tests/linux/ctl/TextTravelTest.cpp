// Which byte strings arrive as they were sent, held against real parcels, and which transport a
// file takes.
#include <android/binder_parcel_utils.h>
#include <fmq/AidlMessageQueue.h>
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <vector>

#include "Failing.h"
#include "Limits.h"
#include "Utf8.h"

namespace {

using lumctl::chooseTransport;
using lumctl::isUtf8;
using lumctl::Transport;
using Queue =
        ::android::AidlMessageQueue<int8_t,
                                    ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>;

bool arrivesUnchanged(const std::string& text) {
    const ndk::ScopedAParcel parcel(AParcel_create());
    if (ndk::AParcel_writeString(parcel.get(), text) != STATUS_OK) return false;
    AParcel_setDataPosition(parcel.get(), 0);
    std::string arrived;
    return ndk::AParcel_readString(parcel.get(), &arrived) == STATUS_OK && arrived == text;
}

// Bytes at the borders of every rule, so that random sequences of them are often nearly right.
std::string randomBytes(std::mt19937& random) {
    static constexpr std::array<unsigned char, 24> kBytes = {
            0x00, 'a',  0x7f, 0x80, 0x8f, 0x90, 0x9f, 0xa0, 0xbf, 0xc0, 0xc1, 0xc2,
            0xdf, 0xe0, 0xe1, 0xed, 0xef, 0xf0, 0xf1, 0xf4, 0xf5, 0xf8, 0xfe, 0xff};
    std::string text(1 + random() % 6, '\0');
    for (char& byte : text) byte = static_cast<char>(kBytes[random() % kBytes.size()]);
    return text;
}

}  // namespace

TEST(Texts, AreAcceptedExactlyWhenTheyArriveUnchanged) {
    std::mt19937 random(20);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same texts every time
    int accepted = 0;
    for (int i = 0; i < 300000; ++i) {
        const std::string text = randomBytes(random);
        ASSERT_EQ(isUtf8(text), arrivesUnchanged(text)) << testing::PrintToString(text);
        accepted += isUtf8(text) ? 1 : 0;
    }
    EXPECT_GT(accepted, 1000);
    EXPECT_EQ(lumctl::firstInvalidByte(std::string("a\0\u20ac\xe2\x82", 7)), 5U);
}

TEST(Transports, SmallFilesTakeTheCallAndLargerOnesTheQueue) {
    const std::string longPath = "/" + std::string(400000, 'x');
    EXPECT_EQ(chooseTransport(Transport::kEither, "/f", lumctl::kSmallFile), Transport::kCall);
    EXPECT_EQ(chooseTransport(Transport::kEither, "/f", lumctl::kMaxBlock), Transport::kQueue);
    EXPECT_EQ(chooseTransport(Transport::kEither, longPath, 400000), Transport::kQueue);
    const auto refused = [] { chooseTransport(Transport::kQueue, "/f", lumctl::kMaxBlock + 1); };
    EXPECT_TRUE(fails(lumctl::kUsage, "split it", refused));
    EXPECT_TRUE(Queue(lumctl::kMaxBlock).isValid());
    EXPECT_FALSE(Queue(lumctl::kMaxBlock + 1).isValid());
}
