// Which byte strings arrive as they were sent, and how much room a request takes: what lumctl
// works out beforehand, held against real parcels.
#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>
#include <android/binder_parcel_utils.h>
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <vector>

#include "Failing.h"
#include "Limits.h"
#include "Utf8.h"

namespace {

using aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;
using lumctl::chooseWay;
using lumctl::isUtf8;
using lumctl::Way;

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

// A request to the service's interface, to which arguments can be added.
ndk::ScopedAParcel beginRequest() {
    static const AIBinder_Class* clazz = AIBinder_Class_define(
            ILumvndhal::descriptor, [](void* args) { return args; }, [](void*) {},
            [](AIBinder*, transaction_code_t, const AParcel*, AParcel*) -> binder_status_t {
                return STATUS_OK;
            });
    const ndk::SpAIBinder binder(AIBinder_new(clazz, nullptr));
    ndk::ScopedAParcel request;
    EXPECT_EQ(AIBinder_prepareTransaction(binder.get(), request.getR()), STATUS_OK);
    return request;
}

uint64_t sizeOf(const ndk::ScopedAParcel& parcel) {
    return static_cast<uint64_t>(AParcel_getDataSize(parcel.get()));
}

const std::vector<std::string> kPaths = {
        "/", "/a", "/ab", "/d/f.bin", "/\u00e4\u20ac\U0001f600", "/" + std::string(4000, 'x')};

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

TEST(Requests, TakeTheRoomThatWasWorkedOut) {
    for (const std::string& path : kPaths) {
        for (const size_t size : {0U, 1U, 2U, 3U, 4U, 5U, 700U}) {
            const ndk::ScopedAParcel write = beginRequest();
            ndk::AParcel_writeString(write.get(), path);
            ndk::AParcel_writeVector(write.get(), std::vector<uint8_t>(size));
            AParcel_writeInt32(write.get(), static_cast<int32_t>(size));
            EXPECT_EQ(lumctl::writeRequestSize(path, size), sizeOf(write)) << path << " " << size;
        }
        const ndk::ScopedAParcel set = beginRequest();
        ndk::AParcel_writeString(set.get(), "LUMNETSTATS");
        ndk::AParcel_writeString(set.get(), path);
        EXPECT_EQ(lumctl::setRequestSize("LUMNETSTATS", path), sizeOf(set)) << path;

        const uint64_t most = lumctl::maxFileSize(Way::kCall, path);
        EXPECT_LE(lumctl::writeRequestSize(path, most), lumctl::kMaxRequest) << path;
        EXPECT_GT(lumctl::writeRequestSize(path, most + 1), lumctl::kMaxRequest) << path;
    }
    EXPECT_EQ(lumctl::maxFileSize(Way::kCall, std::string(2000000, 'x')), 0U);
}

TEST(Ways, SmallFilesTakeTheCallAndLargerOnesTheQueue) {
    const std::string longPath = "/" + std::string(400000, 'x');
    EXPECT_EQ(chooseWay(Way::kEither, "/f", 0), Way::kCall);
    EXPECT_EQ(chooseWay(Way::kEither, "/f", lumctl::kSmallFile), Way::kCall);
    EXPECT_EQ(chooseWay(Way::kEither, "/f", lumctl::kSmallFile + 1), Way::kQueue);
    EXPECT_EQ(chooseWay(Way::kEither, "/f", lumctl::kMaxBlock), Way::kQueue);
    EXPECT_EQ(chooseWay(Way::kEither, longPath, 400000), Way::kQueue);
    const auto refused = [](Way way, uint64_t size, const char* reason) {
        EXPECT_TRUE(fails(lumctl::kUsage, reason, [&] { chooseWay(way, "/f", size); })) << size;
    };
    refused(Way::kCall, 1040384, "--via queue");
    refused(Way::kQueue, 0, "leave --via out");
    refused(Way::kEither, lumctl::kMaxBlock + 1, "split it");
    refused(Way::kQueue, lumctl::kMaxBlock + 1, "split it");
}
