// Parcels and statuses as they are laid out and read, and what a local binder answers by itself.
#include <aidl/android/hardware/common/NativeHandle.h>
#include <aidl/android/hardware/common/fmq/GrantorDescriptor.h>
#include <android/binder_interface_utils.h>
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
    EXPECT_EQ(AParcel_writeParcelFileDescriptor(&parcel, INT32_MAX), STATUS_BAD_VALUE);
    EXPECT_EQ(parcel.size(), sizeof(int32_t) * words.size());
    AParcel borrowed(parcel.data(), parcel.size());
    EXPECT_EQ(AParcel_writeInt32(&borrowed, 1), STATUS_NO_MEMORY);
    EXPECT_EQ(ndk::AParcel_writeData(&borrowed, std::string("x")), STATUS_NO_MEMORY);
    EXPECT_EQ(ndk::AParcel_writeData(&borrowed, std::vector<uint8_t>(1)), STATUS_NO_MEMORY);
    EXPECT_EQ(AParcel_writeParcelFileDescriptor(&borrowed, 0), STATUS_NO_MEMORY);
    EXPECT_EQ(ndk::AParcel_writeData(&borrowed, GrantorDescriptor{}), STATUS_NO_MEMORY);
    const auto denied = ndk::ScopedAStatus::fromExceptionCode(EX_SECURITY);
    EXPECT_EQ(AParcel_writeStatusHeader(&borrowed, denied.get()), STATUS_NO_MEMORY);
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
        if (status.getExceptionCode() == EX_TRANSACTION_FAILED) continue;
        AParcel again;
        EXPECT_EQ(AParcel_writeStatusHeader(&again, status.get()), STATUS_OK);
        ndk::ScopedAStatus read;
        again.setPosition(0);
        EXPECT_EQ(AParcel_readStatusHeader(&again, read.getR()), STATUS_OK);
        EXPECT_EQ(read.getDescription(), each.description);
    }
}

TEST(BinderStatus, DescribesItselfToPeople) {
    using Status = ndk::ScopedAStatus;
    const std::pair<Status, std::string> cases[] = {
            {Status(), "no status)"},
            {Status::fromExceptionCode(EX_NONE), "0, EX_NONE): ''"},
            {Status::fromExceptionCodeWithMessage(EX_SECURITY, "no"), "-1, EX_SECURITY): 'no'"},
            {Status::fromServiceSpecificError(7), "-8, EX_SERVICE_SPECIFIC): '7: '"},
            {Status::fromStatus(STATUS_BAD_TYPE), "-129, EX_TRANSACTION_FAILED): 'BAD_TYPE: '"},
            {Status::fromStatus(STATUS_NO_MEMORY),
             "-129, EX_TRANSACTION_FAILED): '-12 Cannot allocate memory: '"},
            {Status::fromStatus(5), "-129, EX_TRANSACTION_FAILED): '5: '"}};
    for (const auto& [status, description] : cases) {
        EXPECT_EQ(status.getDescription(), "Status(" + description);
    }
    const Status none;
    EXPECT_TRUE(!none.isOk() && none.getExceptionCode() == EX_TRANSACTION_FAILED &&
                none.getStatus() == STATUS_UNEXPECTED_NULL && none.getServiceSpecificError() == 0 &&
                *none.getMessage() == '\0');
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
    EXPECT_EQ(AIBinder_getClass(binder.get()), clazz);
    EXPECT_STREQ(AIBinder_Class_getDescriptor(clazz), "test.INothing");
    const ndk::ScopedAIBinder_DeathRecipient recipient(AIBinder_DeathRecipient_new([](void*) {}));
    EXPECT_EQ(AIBinder_linkToDeath(binder.get(), recipient.get(), nullptr),
              STATUS_INVALID_OPERATION);
    const ndk::ScopedAIBinder_Weak weak(AIBinder_Weak_new(binder.get()));
    EXPECT_EQ(ndk::SpAIBinder(AIBinder_Weak_promote(weak.get())), binder);
    binder.set(nullptr);
    EXPECT_TRUE(ended);
    EXPECT_EQ(AIBinder_Weak_promote(weak.get()), nullptr);
}

TEST(LocalBinder, IsNotNeededToRefuseNull) {
    static auto* const clazz = AIBinder_Class_define(
            "test.INothing", [](void*) -> void* { return nullptr; }, [](void*) {}, nullptr);
    const ndk::SpAIBinder sound(AIBinder_new(clazz, nullptr));
    AIBinder* const binder = sound.get();
    ndk::ScopedAParcel in;
    ndk::ScopedAParcel out;
    EXPECT_FALSE(AIBinder_isRemote(nullptr) || AIBinder_isAlive(nullptr) ||
                 AIBinder_associateClass(nullptr, clazz) ||
                 AIBinder_associateClass(binder, nullptr));
    EXPECT_TRUE(AIBinder_Weak_new(nullptr) == nullptr &&
                AIBinder_Weak_promote(nullptr) == nullptr &&
                AIBinder_DeathRecipient_new(nullptr) == nullptr);
    AIBinder_Weak_delete(nullptr);
    AIBinder_DeathRecipient_delete(nullptr);
    EXPECT_EQ(AIBinder_transact(binder, 1, in.getR(), out.getR(), 0), STATUS_UNEXPECTED_NULL);
    ASSERT_EQ(AIBinder_prepareTransaction(binder, in.getR()), STATUS_OK);
    EXPECT_EQ(AIBinder_transact(binder, 1, in.getR(), out.getR(), 9), STATUS_BAD_VALUE);  // a flag
    for (const binder_status_t status :
         {AIBinder_ping(nullptr), AIBinder_prepareTransaction(nullptr, in.getR()),
          AIBinder_prepareTransaction(binder, nullptr),
          AIBinder_transact(nullptr, 1, in.getR(), out.getR(), 0),
          AIBinder_transact(binder, 1, nullptr, out.getR(), 0),
          AIBinder_transact(binder, 1, in.getR(), nullptr, 0),
          AIBinder_linkToDeath(nullptr, nullptr, nullptr),
          AIBinder_linkToDeath(binder, nullptr, nullptr),
          AIBinder_unlinkToDeath(nullptr, nullptr, nullptr),
          AIBinder_unlinkToDeath(binder, nullptr, nullptr)}) {
        EXPECT_EQ(status, STATUS_UNEXPECTED_NULL);
    }
}

TEST(SharedRefBase, EndsAProcessThatOwnsItsObjectsWrongly) {
    struct Object : ndk::SharedRefBase {};
    struct Asking : ndk::SharedRefBase {
        ~Asking() override { ref(); }
    };
    EXPECT_DEATH({ Object(); }, "never had a reference");
    EXPECT_DEATH(ndk::SharedRefBase::make<Asking>(), "is being destroyed");
    const auto one = ndk::SharedRefBase::make<Object>();
    EXPECT_DEATH({ std::shared_ptr<Object>(one.get()); }, "a second owner");
}

}  // namespace
