// Storing through a queue, with a service that other clients get in between of; and where the bytes
// come from. The service is in this process.
#include <aidl/vendor/tav/lumvndhal_aidl/BnLumvndhal.h>
#include <android/binder_manager.h>
#include <fmq/AidlMessageQueue.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Client.h"
#include "Content.h"
#include "Failure.h"
#include "Transfer.h"

namespace {

using aidl::vendor::tav::lumvndhal_aidl::BnLumvndhal;
using lumctl::Client;
using lumctl::Content;
using ndk::ScopedAStatus;
using Queue =
        ::android::AidlMessageQueue<int8_t,
                                    ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>;

// Takes blocks as the service does. While `rivals` is not 0, another client's queue is in place
// whenever a block is asked for, and `rivalAnswer` is what comes of it.
class QueueService : public BnLumvndhal {
  public:
    int rivals = 0;
    bool rivalAnswer = false;
    bool canStore = true;
    int configured = 0;
    std::string stored;

    ScopedAStatus configure(const ByteQueueDescriptor& desc, bool* result) override {
        ++configured;
        mQueue = std::make_unique<Queue>(desc);
        *result = mQueue->isValid();
        return ScopedAStatus::ok();
    }
    ScopedAStatus request_read(const std::string&, int32_t count, bool* result) override {
        if (rivals > 0) {
            --rivals;
            *result = rivalAnswer;
            return ScopedAStatus::ok();
        }
        std::string bytes(static_cast<size_t>(count), '\0');
        *result = mQueue->read(reinterpret_cast<int8_t*>(bytes.data()), bytes.size()) && canStore;
        if (*result) stored = bytes;
        return ScopedAStatus::ok();
    }
    ScopedAStatus get_vnd_data(const std::string&, lumctl::LumvndhalGenericData*,
                               int32_t*) override {
        return ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT);
    }
    ScopedAStatus set_vnd_data(const std::string&, const std::string&, int32_t*) override {
        return ScopedAStatus::fromStatus(STATUS_FAILED_TRANSACTION);
    }
    ScopedAStatus update_vendor_dropbox(const std::string&, bool, int32_t*) override {
        return ScopedAStatus::fromExceptionCodeWithMessage(EX_SECURITY, "two\nlines");
    }
    ScopedAStatus write_data_to_vendor_dropbox(const std::string&, const std::vector<uint8_t>&,
                                               int32_t, bool*) override {
        return ScopedAStatus::ok();
    }

  private:
    std::unique_ptr<Queue> mQueue;
};

// More than one chunk of the transfer, and nothing that repeats with its size.
std::string someBytes() {
    std::string bytes(2'500'001, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>((i * i) >> 7U);
    return bytes;
}

class Transfer : public testing::Test {
  protected:
    static void SetUpTestSuite() { mName = "of-test-" + std::to_string(::getpid()); }

    Transfer() : mFolder("/data/vendor/lum/from") {
        const std::string instance = mName + std::to_string(++mMade);
        mService = ndk::SharedRefBase::make<QueueService>();
        const std::string name = BnLumvndhal::makeServiceName(instance);
        EXPECT_EQ(AServiceManager_addService(mService->asBinder().get(), name.c_str()), EX_NONE);
        mClient = std::make_unique<Client>(instance);
        std::filesystem::create_directories(mFolder);
        std::ofstream(file(), std::ios::binary) << mBytes;
    }

    std::string file() const { return mFolder + "/file"; }
    bool store() { return lumctl::storeThroughQueue(*mClient, "/f", Content(file(), UINT32_MAX)); }

    template <class Call>
    std::string failureOf(lumctl::ExitStatus status, Call call) {
        try {
            call();
            return "no failure";
        } catch (const lumctl::Failure& failure) {
            EXPECT_EQ(failure.status(), status) << failure.what();
            return failure.what();
        }
    }

    static inline std::string mName;
    static inline int mMade = 0;
    const std::string mFolder;
    const std::string mBytes = someBytes();
    std::shared_ptr<QueueService> mService;
    std::unique_ptr<Client> mClient;
};

}  // namespace

TEST_F(Transfer, BringsTheBytesInOneBlock) {
    EXPECT_TRUE(store());
    EXPECT_TRUE(mService->stored == mBytes);
    EXPECT_EQ(mService->configured, 1);
}

TEST_F(Transfer, TriesAgainWhenAnotherClientsQueueWasRead) {
    for (const bool rivalAnswer : {true, false}) {
        mService->rivals = 2;
        mService->configured = 0;
        mService->stored.clear();
        mService->rivalAnswer = rivalAnswer;
        EXPECT_TRUE(store());
        EXPECT_TRUE(mService->stored == mBytes);
        EXPECT_EQ(mService->configured, 3);
    }
}

TEST_F(Transfer, NeverTakesARivalsSuccessForItsOwn) {
    mService->rivals = 100;
    mService->rivalAnswer = true;
    const std::string failure = failureOf(lumctl::kRefused, [&] { store(); });
    EXPECT_NE(failure.find("did not take the bytes"), std::string::npos) << failure;
    EXPECT_EQ(mService->rivals, 90) << "it gives up";
}

TEST_F(Transfer, EndsSoonWhenTheServiceCannotStoreWhatItTook) {
    mService->canStore = false;
    EXPECT_FALSE(store());
    EXPECT_EQ(mService->configured, 2);
}

TEST_F(Transfer, EndsWhenTheFileBecomesShorter) {
    const Content content(file(), UINT32_MAX);
    std::filesystem::resize_file(file(), 1'200'000);
    const std::string failure =
            failureOf(lumctl::kUsage, [&] { lumctl::storeThroughQueue(*mClient, "/f", content); });
    EXPECT_NE(failure.find("shorter"), std::string::npos) << failure;
    EXPECT_EQ(mService->stored, "");
}

TEST_F(Transfer, TellsWhatBecameOfACallInOneLine) {
    const std::string died = failureOf(lumctl::kNotReached, [&] { mClient->get("x"); });
    EXPECT_NE(died.find("died during the call"), std::string::npos) << died;
    const std::string failed = failureOf(lumctl::kNotReached, [&] { mClient->set("x", ""); });
    EXPECT_NE(failed.find("did not get through"), std::string::npos) << failed;
    const std::string odd =
            failureOf(lumctl::kNotReached, [&] { mClient->updateDropbox("/", true); });
    EXPECT_EQ(odd.find('\n'), std::string::npos) << odd;
}

TEST_F(Transfer, TakesItsBytesFromFilesAndFromPipes) {
    const Content large(file(), 10);
    EXPECT_EQ(large.size(), mBytes.size()) << "a file's size costs no reading";
    std::string part(5, '\0');
    large.read(2'000'000, part.data(), part.size());
    EXPECT_EQ(part, mBytes.substr(2'000'000, 5));

    const std::string pipe = mFolder + "/pipe";
    ASSERT_TRUE(::mkfifo(pipe.c_str(), 0600) == 0 || errno == EEXIST);
    std::thread writer([&] { std::ofstream(pipe, std::ios::binary) << mBytes; });
    const Content piped(pipe, UINT32_MAX);
    writer.join();
    EXPECT_TRUE(piped.whole() == std::vector<uint8_t>(mBytes.begin(), mBytes.end()));

    EXPECT_EQ(Content("/dev/zero", 1000).size(), 1001U) << "one byte more tells that it is more";
    EXPECT_GT(Content("/proc/self/status", UINT32_MAX).size(), 0U);
    EXPECT_EQ(Content("/dev/null", 10).size(), 0U);
    failureOf(lumctl::kUsage, [&] { Content(mFolder, 10); });
    failureOf(lumctl::kUsage, [&] { Content(mFolder + "/none", 10); });
}
