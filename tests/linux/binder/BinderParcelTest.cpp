// Parcels and statuses as they are laid out and read, and what a local binder answers by itself.
#include <aidl/android/hardware/common/NativeHandle.h>
#include <aidl/android/hardware/common/fmq/GrantorDescriptor.h>
#include <android/binder_parcel_utils.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>

#include "linux/platform/binder/Binder.h"

namespace {

using ::aidl::android::hardware::common::NativeHandle;
using ::aidl::android::hardware::common::fmq::GrantorDescriptor;
using Words = std::vector<int32_t>;

void fill(AParcel* parcel, const Words& words) {
    for (const int32_t word : words) parcel->putValue(word);
    parcel->setPosition(0);
}

TEST(BinderParcel, LaysValuesOutAsAndroidDoes) {
    AParcel parcel;
    ndk::AParcel_writeString(&parcel, std::string());
    ndk::AParcel_writeString(&parcel, std::string("BUILDID"));
    ndk::AParcel_writeString(&parcel, std::nullopt);
    ndk::AParcel_writeVector(&parcel, std::vector<uint8_t>{0xaa, 0xbb, 0xcc});
    ndk::AParcel_writeVector(&parcel, std::vector<uint8_t>{});
    AParcel_writeBool(&parcel, true);
    AParcel_writeInt64(&parcel, -2);
    Words words(parcel.size() / sizeof(int32_t));
    ::memcpy(words.data(), parcel.data(), parcel.size());
    EXPECT_EQ(words,
              (Words{0, 0, 7, 0x550042, 0x4c0049, 0x490044, 0x44, -1, 3, 0xccbbaa, 0, 1, -2, -1}));
    EXPECT_EQ(AParcel_setDataPosition(&parcel, AParcel_getDataSize(&parcel) + 1), STATUS_BAD_VALUE);
    EXPECT_EQ(AParcel_setDataPosition(&parcel, -1), STATUS_BAD_VALUE);
    for (const char* cut : {"\xc3", "eight...x\xe2\x82"}) {
        EXPECT_EQ(ndk::AParcel_writeString(&parcel, std::string(cut)), STATUS_BAD_VALUE) << cut;
    }
    EXPECT_EQ(AParcel_writeString(&parcel, "x", -1), STATUS_BAD_VALUE);
    EXPECT_EQ(AParcel_writeByteArray(&parcel, nullptr, -2), STATUS_BAD_VALUE);
    EXPECT_EQ(AParcel_writeParcelFileDescriptor(&parcel, -2), STATUS_BAD_VALUE);
    EXPECT_EQ(parcel.size(), sizeof(int32_t) * words.size());
    AParcel borrowed(parcel.data(), parcel.size());
    EXPECT_EQ(AParcel_writeInt32(&borrowed, 1), STATUS_NO_MEMORY);
}

template <typename T>
binder_status_t read(const AParcel* parcel) {
    T value{};
    return ndk::AParcel_readData(parcel, &value);
}

TEST(BinderParcel, AnswersMalformedOnesAsAndroidDoes) {
    constexpr auto readList = read<std::vector<std::string>>;
    constexpr auto readFd = read<ndk::ScopedFileDescriptor>;
    const struct {
        Words words;
        binder_status_t (*read)(const AParcel*);
        binder_status_t expected;
    } cases[] = {
            {{}, read<int32_t>, STATUS_NOT_ENOUGH_DATA},
            {{1}, read<int64_t>, STATUS_NOT_ENOUGH_DATA},
            {{-1, 0}, readList, STATUS_NO_MEMORY},
            {{-2, 0}, readList, STATUS_BAD_VALUE},
            {{2, 0}, readList, STATUS_NO_MEMORY},
            {{0, 4}, read<GrantorDescriptor>, STATUS_UNEXPECTED_NULL},
            {{1, 3, 0}, read<GrantorDescriptor>, STATUS_BAD_VALUE},
            {{1, 24, 0, 0, 0, 0}, read<GrantorDescriptor>, STATUS_NOT_ENOUGH_DATA},
            {{1, 12, -1, 0}, read<NativeHandle>, STATUS_NO_MEMORY},
            {{0}, readFd, STATUS_UNEXPECTED_NULL},
            {{1, 0, 0x66642a85, 0, 0, 0, 1, 0}, readFd, STATUS_BAD_TYPE},  // none came along
    };
    for (const auto& each : cases) {
        AParcel parcel;
        fill(&parcel, each.words);
        EXPECT_EQ(each.read(&parcel), each.expected) << testing::PrintToString(each.words);
    }
}

TEST(BinderParcel, GivesADescriptorOfItsOwnToAsManyReadsAsMayTravel) {
    AParcel parcel;
    const ndk::ScopedFileDescriptor file(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(ndk::AParcel_writeData(&parcel, file), STATUS_OK);
    for (size_t i = 0; i < standin::kMaxDescriptors; ++i) {
        parcel.setPosition(0);
        ndk::ScopedFileDescriptor read;
        ASSERT_EQ(ndk::AParcel_readData(&parcel, &read), STATUS_OK);
        struct stat status = {};
        EXPECT_TRUE(::fstat(read.get(), &status) == 0 && S_ISCHR(status.st_mode));
        const ndk::ScopedFileDescriptor copy = read.dup();
        for (const int fd : {read.get(), copy.get(), parcel.fds[0].get()}) {
            EXPECT_NE(fd, file.get());
            EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC);
        }
    }
    parcel.setPosition(0);
    EXPECT_EQ(read<ndk::ScopedFileDescriptor>(&parcel), STATUS_BAD_VALUE);
}

TEST(BinderStatus, TravelsWithItsExceptionAndMessage) {
    const auto failed = ndk::ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT);
    AParcel nothing;
    EXPECT_EQ(AParcel_writeStatusHeader(&nothing, failed.get()), STATUS_DEAD_OBJECT);
    constexpr char kFailed[] = "Status(-129, EX_TRANSACTION_FAILED): 'FAILED_TRANSACTION: '";
    const struct {
        Words reply;
        binder_status_t read;
        const char* description;
    } cases[] = {
            {{EX_NONE}, STATUS_OK, "Status(0, EX_NONE): ''"},
            {{EX_SECURITY, 1, 'a', 0}, STATUS_OK, "Status(-1, EX_SECURITY): 'a'"},
            {{EX_SERVICE_SPECIFIC, -1, 0, 7}, STATUS_OK, "Status(-8, EX_SERVICE_SPECIFIC): '7: '"},
            {{1, -1, 0}, STATUS_OK, kFailed},
            {{-10, -1, 0}, STATUS_OK, kFailed},
            {{EX_SECURITY, 0, 0}, STATUS_NOT_ENOUGH_DATA, "Status(no status)"},
            {{EX_SERVICE_SPECIFIC, -1, 0}, STATUS_NOT_ENOUGH_DATA, "Status(no status)"},
    };
    for (const auto& each : cases) {
        AParcel reply;
        fill(&reply, each.reply);
        ndk::ScopedAStatus status;
        EXPECT_EQ(AParcel_readStatusHeader(&reply, status.getR()), each.read);
        EXPECT_EQ(status.getDescription(), each.description);
    }
}

TEST(LocalBinder, AnswersByItselfWhatEveryBinderIsAskedAndEndsWithItsLastReference) {
    static const auto* const clazz = AIBinder_Class_define(
            "test.INothing", [](void* args) { return args; },
            [](void* ended) { *static_cast<bool*>(ended) = true; }, nullptr);
    bool ended = false;
    ndk::SpAIBinder binder(AIBinder_new(clazz, &ended));
    const std::pair<transaction_code_t, binder_status_t> cases[] = {
            {0x5f504e47, STATUS_OK},         {0x5f4e5446, STATUS_OK},  // _PNG, _NTF
            {0x5f444d50, STATUS_OK},         {0x5f535052, STATUS_OK},  // _DMP, _SPR
            {0x5f455854, STATUS_OK},         {0x5f504944, STATUS_OK},  // _EXT, _PID
            {0x5f434d44, STATUS_BAD_VALUE},                            // _CMD
            {0, STATUS_UNKNOWN_TRANSACTION}, {1, STATUS_BAD_TYPE},     // no call of its interface
    };
    for (const auto& [code, expected] : cases) {
        AParcel reply;
        EXPECT_EQ(binder.get()->transact(code, AParcel(), &reply), expected) << code;
    }
    const ndk::ScopedAIBinder_Weak weak(AIBinder_Weak_new(binder.get()));
    EXPECT_EQ(ndk::SpAIBinder(AIBinder_Weak_promote(weak.get())), binder);
    binder.set(nullptr);
    EXPECT_TRUE(ended);
    EXPECT_EQ(AIBinder_Weak_promote(weak.get()), nullptr);
}

}  // namespace
