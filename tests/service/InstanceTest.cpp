// The service that is registered on this device, called as a client calls it. Runs on devices too:
// it works in a directory of its own in the dropbox and leaves the campaigns alone, but takes the
// queue away from a client that has one attached.
#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>
#include <android/binder_manager.h>
#include <fmq/AidlMessageQueue.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;
using aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData;
using Queue =
        ::android::AidlMessageQueue<int8_t,
                                    ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>;

class Instance : public testing::Test {
  protected:
    void SetUp() override {
        const std::string name = std::string(ILumvndhal::descriptor) + "/default";
        mService = ILumvndhal::fromBinder(
                ndk::SpAIBinder(AServiceManager_waitForService(name.c_str())));
        ASSERT_NE(mService, nullptr);
        ASSERT_EQ(update(mFolder, true), 0);
    }
    void TearDown() override {
        if (mService == nullptr) return;
        EXPECT_EQ(update(mFolder, false), 0);
    }

    int32_t update(const std::string& path, bool create) {
        int32_t result = 99;
        EXPECT_TRUE(mService->update_vendor_dropbox(path, create, &result).isOk());
        return result;
    }
    bool write(const std::string& path, int32_t size) {
        bool result = false;
        const std::vector<uint8_t> data(static_cast<size_t>(size), 'x');
        mService->write_data_to_vendor_dropbox(path, data, size, &result);
        return result;
    }
    bool takeFromQueue(int32_t size) {
        bool result = false;
        mService->request_read(mFolder + "/queue", size, &result);
        return result;
    }
    LumvndhalGenericData ask(const std::string& command) {
        int32_t result = 99;
        LumvndhalGenericData data;
        EXPECT_TRUE(mService->get_vnd_data(command, &data, &result).isOk());
        EXPECT_EQ(result, 0);
        return data;
    }

    std::shared_ptr<ILumvndhal> mService;
    const std::string mFolder = "/instance-test-" + std::to_string(::getpid());
};

}  // namespace

TEST_F(Instance, IsOfThisVersion) {
    int32_t version = 0;
    std::string hash;
    EXPECT_TRUE(mService->getInterfaceVersion(&version).isOk());
    EXPECT_TRUE(mService->getInterfaceHash(&hash).isOk());
    EXPECT_EQ(version, 1);
    EXPECT_EQ(hash, std::string(ILumvndhal::hash));
}

TEST_F(Instance, TellsFactsWhoseLengthAgreesWithTheirText) {
    for (const char* word : {"LUMTR_VERSION", "CHIPSET_SERIAL", "collectorsState", "statusCamp"}) {
        const LumvndhalGenericData fact = ask(word);
        EXPECT_FALSE(fact.data.empty()) << word;
        EXPECT_EQ(fact.data_size, static_cast<int32_t>(fact.data.size())) << word;
    }
    const LumvndhalGenericData unknown = ask("instance-test");
    EXPECT_EQ(unknown.data_size, 0);
    EXPECT_EQ(unknown.data, "");
}

TEST_F(Instance, StoresFilesInItsDirectoryOnly) {
    EXPECT_TRUE(write(mFolder + "/large", 512 * 1024));
    EXPECT_FALSE(write(mFolder + "/missing/file", 3));
    EXPECT_FALSE(write(mFolder + "/../file", 3));
    EXPECT_EQ(update(mFolder + "/..", true), -1);
}

TEST_F(Instance, TakesBytesOutOfAQueue) {
    Queue queue(4096);
    bool attached = false;
    ASSERT_TRUE(mService->configure(queue.dupeDesc(), &attached).isOk());
    ASSERT_TRUE(attached);
    const std::vector<int8_t> bytes(3000, 'q');
    // More than once, so that the blocks run over the end of the ring.
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(queue.write(bytes.data(), bytes.size()));
        EXPECT_TRUE(takeFromQueue(3000));
        EXPECT_EQ(queue.availableToRead(), 0U);
    }
    EXPECT_FALSE(takeFromQueue(1));
}
