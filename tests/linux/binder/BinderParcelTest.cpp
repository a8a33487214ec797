#include <android/binder_parcel_utils.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "linux/platform/binder/Parcel.h"

namespace {

std::string hex(const AParcel& parcel) {
    std::string text;
    for (size_t i = 0; i < parcel.size(); ++i) {
        char byte[3];
        std::snprintf(byte, sizeof(byte), "%02x", parcel.data()[i]);
        text += byte;
    }
    return text;
}

std::string hexOf(const std::string& text) {
    AParcel parcel;
    EXPECT_EQ(ndk::AParcel_writeString(&parcel, text), STATUS_OK);
    return hex(parcel);
}

// What a text becomes on its way through a parcel.
std::string roundTrip(const std::string& text) {
    AParcel parcel;
    EXPECT_EQ(ndk::AParcel_writeString(&parcel, text), STATUS_OK);
    parcel.setPosition(0);
    std::string read;
    EXPECT_EQ(ndk::AParcel_readString(&parcel, &read), STATUS_OK);
    return read;
}

TEST(BinderParcel, LaysTextOutAsAndroidDoes) {
    EXPECT_EQ(hexOf(""), "0000000000000000");
    EXPECT_EQ(hexOf("a"), "0100000061000000");
    EXPECT_EQ(hexOf("BUILDID"),
              "07000000420055004900"
              "4c00440049004400"
              "0000");
}

TEST(BinderParcel, CarriesValidTextUnchanged) {
    const std::string nul("a\0b\0", 4);
    for (const std::string& text :
         {std::string("plain"), nul, std::string("\xc3\xa4\xe2\x82\xac"),
          std::string("\xf0\x9f\x98\x80 beyond the basic plane"), std::string(100000, 'x')}) {
        EXPECT_EQ(roundTrip(text), text);
    }
}

TEST(BinderParcel, AltersInvalidTextButRefusesOneThatIsCutShort) {
    EXPECT_EQ(roundTrip("\x80"), "\xc2\x80");    // a byte that leads nothing stands for itself
    EXPECT_EQ(roundTrip("\xed\xa0\x80x"), "x");  // a surrogate without a partner goes
    EXPECT_EQ(roundTrip("\xc0\xaf"), "/");       // an overlong form gets its shortest
    for (const char* cut : {"\xc3", "x\xe2\x82", "\xf0\x9f\x98"}) {
        AParcel parcel;
        EXPECT_EQ(ndk::AParcel_writeString(&parcel, std::string(cut)), STATUS_BAD_VALUE) << cut;
    }
}

TEST(BinderParcel, PadsBytesWithZeros) {
    AParcel parcel;
    ndk::AParcel_writeVector(&parcel, std::vector<uint8_t>{0xaa, 0xbb, 0xcc});
    ndk::AParcel_writeVector(&parcel, std::vector<uint8_t>{});
    AParcel_writeBool(&parcel, true);
    AParcel_writeInt64(&parcel, -2);
    EXPECT_EQ(hex(parcel),
              "03000000aabbcc00"
              "00000000"
              "01000000"
              "feffffffffffffff");
}

TEST(BinderParcel, TellsMissingFromNullAndLeavesTheTargetAlone) {
    AParcel parcel;
    AParcel_writeString(&parcel, nullptr, -1);
    AParcel_writeByteArray(&parcel, nullptr, -1);
    AParcel_writeParcelFileDescriptor(&parcel, -1);
    AParcel_writeInt32(&parcel, 1000);  // a length that the parcel does not hold
    parcel.setPosition(0);
    std::string text = "kept";
    std::vector<uint8_t> bytes = {7};
    ndk::ScopedFileDescriptor fd;
    EXPECT_EQ(ndk::AParcel_readData(&parcel, &text), STATUS_UNEXPECTED_NULL);
    EXPECT_EQ(ndk::AParcel_readVector(&parcel, &bytes), STATUS_UNEXPECTED_NULL);
    EXPECT_EQ(ndk::AParcel_readData(&parcel, &fd), STATUS_UNEXPECTED_NULL);
    EXPECT_EQ(ndk::AParcel_readVector(&parcel, &bytes), STATUS_NOT_ENOUGH_DATA);
    int32_t number = 5;
    EXPECT_EQ(AParcel_readInt32(&parcel, &number), STATUS_NOT_ENOUGH_DATA);
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(bytes, std::vector<uint8_t>{7});
    EXPECT_EQ(number, 5);
}

TEST(BinderParcel, RefusesAVectorThatItCannotHold) {
    AParcel parcel;
    AParcel_writeInt32(&parcel, INT32_MAX);
    parcel.setPosition(0);
    std::vector<std::string> texts;
    EXPECT_EQ(ndk::AParcel_readVector(&parcel, &texts), STATUS_NOT_ENOUGH_DATA);
    EXPECT_TRUE(texts.empty());
}

TEST(BinderParcel, GivesEveryReaderADescriptorOfItsOwn) {
    AParcel parcel;
    const ndk::ScopedFileDescriptor file(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(ndk::AParcel_writeData(&parcel, file), STATUS_OK);
    EXPECT_EQ(parcel.size(), 4U + 28U);
    struct stat expected = {};
    ::fstat(file.get(), &expected);
    for (int i = 0; i < 2; ++i) {
        parcel.setPosition(0);
        ndk::ScopedFileDescriptor read;
        ASSERT_EQ(ndk::AParcel_readData(&parcel, &read), STATUS_OK);
        struct stat status = {};
        ASSERT_EQ(::fstat(read.get(), &status), 0);
        EXPECT_EQ(status.st_rdev, expected.st_rdev);
        EXPECT_NE(read.get(), file.get());
    }
}

TEST(BinderParcel, RefusesADescriptorThatDidNotTravelAlong) {
    AParcel parcel;
    const ndk::ScopedFileDescriptor file(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    ndk::AParcel_writeData(&parcel, file);
    parcel.fds.clear();
    parcel.setPosition(0);
    ndk::ScopedFileDescriptor read;
    EXPECT_EQ(ndk::AParcel_readData(&parcel, &read), STATUS_BAD_TYPE);
}

TEST(BinderParcel, ReadsNoMoreDescriptorsThanMayTravel) {
    AParcel parcel;
    const ndk::ScopedFileDescriptor file(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    ndk::AParcel_writeData(&parcel, file);
    for (size_t i = 0; i <= standin::kMaxDescriptors; ++i) {  // one that travelled, again and again
        parcel.setPosition(0);
        ndk::ScopedFileDescriptor read;
        const bool allowed = i < standin::kMaxDescriptors;
        EXPECT_EQ(ndk::AParcel_readData(&parcel, &read), allowed ? STATUS_OK : STATUS_BAD_VALUE);
    }
}

TEST(BinderStatus, TravelsWithItsExceptionAndMessage) {
    for (const auto& sent :
         {ndk::ScopedAStatus::ok(), ndk::ScopedAStatus::fromServiceSpecificError(7),
          ndk::ScopedAStatus::fromExceptionCodeWithMessage(EX_SECURITY, "no")}) {
        AParcel parcel;
        ASSERT_EQ(AParcel_writeStatusHeader(&parcel, sent.get()), STATUS_OK);
        parcel.setPosition(0);
        ndk::ScopedAStatus read;
        ASSERT_EQ(AParcel_readStatusHeader(&parcel, read.getR()), STATUS_OK);
        EXPECT_EQ(read.getDescription(), sent.getDescription());
        EXPECT_EQ(parcel.left(), 0U);
    }
    AParcel parcel;
    const auto failed = ndk::ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT);
    EXPECT_EQ(AParcel_writeStatusHeader(&parcel, failed.get()), STATUS_DEAD_OBJECT);
    EXPECT_FALSE(ndk::ScopedAStatus().isOk());
}

}  // namespace
