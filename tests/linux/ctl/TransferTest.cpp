// Storing through a queue, with a service that other clients get in between of. The service is in
// this process.
#include <aidl/vendor/tav/lumvndhal_aidl/BnLumvndhal.h>
#include <android/binder_manager.h>
#include <fmq/AidlMessageQueue.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Client.h"
#include "Content.h"
#include "Failing.h"
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

    ScopedAStatus configure(const lumctl::ByteQueueDescriptor& desc, bool* result) override {
        ++configured;
        mQueue = std::make_unique<Queue>(desc);
        *result = mQueue->isValid();
        return ScopedAStatus::ok();
    }
    ScopedAStatus request_read(const std::string&, int32_t count, bool* result) override {
        stored.resize(static_cast<size_t>(count));
        *result = rivalAnswer;
        if (rivals > 0) {
            --rivals;
        } else {
            *result = mQueue->read(reinterpret_cast<int8_t*>(stored.data()), stored.size()) &&
                      canStore;
        }
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
    Transfer() {
        static int made = 0;
        const std::string instance =
                "of-test-" + std::to_string(::getpid()) + "-" + std::to_string(++made);
        const std::string name = BnLumvndhal::makeServiceName(instance);
        EXPECT_EQ(AServiceManager_addService(mService->asBinder().get(), name.c_str()), EX_NONE);
        mClient = std::make_unique<Client>(instance);
        std::ofstream(mFile, std::ios::binary) << mBytes;
    }

    bool store(const Content& content) {
        lumctl::Progress progress(content.size(), {});
        return lumctl::storeThroughQueue(mClient.get(), "/f", content, &progress);
    }
    bool store() { return store(Content(mFile, UINT32_MAX)); }

    const std::string mFile = "/data/vendor/transfer-test";
    const std::string mBytes = someBytes();
    const std::shared_ptr<QueueService> mService = ndk::SharedRefBase::make<QueueService>();
    std::unique_ptr<Client> mClient;
};

}  // namespace

TEST_F(Transfer, TriesAgainOnceItKnowsThatAnotherClientsQueueWasRead) {
    mService->rivals = 2;
    mService->rivalAnswer = true;
    EXPECT_TRUE(store());
    EXPECT_TRUE(mService->stored == mBytes);
    EXPECT_EQ(mService->configured, 3);
}

TEST_F(Transfer, IsNotRepeatedWhenTheServiceTookNothingOrCouldNotStoreIt) {
    mService->rivals = 1;
    EXPECT_TRUE(fails(lumctl::kRefused, "did not take the bytes", [&] { store(); }));
    EXPECT_EQ(mService->configured, 1);
    mService->canStore = false;
    EXPECT_FALSE(store());
    EXPECT_EQ(mService->configured, 2);
}

TEST_F(Transfer, NeverTakesARivalsSuccessForItsOwn) {
    mService->rivals = 100;
    mService->rivalAnswer = true;
    EXPECT_TRUE(fails(lumctl::kRefused, "did not take the bytes", [&] { store(); }));
    EXPECT_EQ(mService->rivals, 90) << "it gives up";
}

TEST_F(Transfer, EndsWhenTheFileBecomesShorter) {
    const Content content(mFile, UINT32_MAX);
    std::filesystem::resize_file(mFile, 1'200'000);
    EXPECT_TRUE(fails(lumctl::kUsage, "shorter", [&] { store(content); }));
    EXPECT_EQ(mService->stored, "");
}

TEST_F(Transfer, TellsWhatBecameOfACallInOneLine) {
    using lumctl::kNotReached;
    EXPECT_TRUE(fails(kNotReached, "lives, but its reply was lost", [&] { mClient->get("x"); }));
    EXPECT_TRUE(fails(kNotReached, "did not get through", [&] { mClient->set("x", ""); }));
    EXPECT_TRUE(fails(kNotReached, "", [&] { mClient->updateDropbox("/", true); }));
}
