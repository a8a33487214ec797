#include <android/binder_parcel_utils.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "Files.h"
#include "ServiceUnderTest.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using namespace support;
using aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData;

TEST(ServiceSetUp, LogsItsCalls) {
    LogCapture log;
    const auto service = ndk::SharedRefBase::make<LumvndhalImpl>();
    service->init_session_operator(nullptr, nullptr, nullptr, nullptr);
    service->set_lumtr_version("2.1");
    service->set_lumtr_version(nullptr);
    EXPECT_EQ(log.take(), (LogLines{debug("init_session_operator"),
                                    verbose("set_lumtr_version() lumtr_version=2.1"),
                                    verbose("set_lumtr_version() lumtr_version=")}));
}

std::atomic<bool> gInside{false};
std::atomic<bool> gMayLeave{false};

void stayInside(std::string&) {
    gInside = true;
    while (!gMayLeave) std::this_thread::sleep_for(1ms);
}

TEST(ServiceLock, KeepsTheSixMethodsApart) {
    LogCapture log;
    const auto service = ndk::SharedRefBase::make<LumvndhalImpl>();
    service->init_session_operator(nullptr, nullptr, nullptr, stayInside);
    bool truth;
    int32_t number;
    LumvndhalGenericData data;
    const std::function<void()> calls[] = {
            [&] { service->configure({}, &truth); },
            [&] { service->request_read("/f", 1, &truth); },
            [&] { service->get_vnd_data("nothing", &data, &number); },
            [&] { service->set_vnd_data("nothing", "", &number); },
            [&] { service->update_vendor_dropbox("", true, &number); },
            [&] { service->write_data_to_vendor_dropbox("", {}, 0, &truth); },
    };
    LumvndhalGenericData state;
    int32_t result = 0;
    std::thread inside([&] { service->get_vnd_data("collectorsState", &state, &result); });
    while (!gInside) std::this_thread::sleep_for(1ms);
    std::atomic<int> returned{0};
    std::vector<std::thread> waiting;
    for (const auto& call : calls) {
        waiting.emplace_back([&] {
            call();
            ++returned;
        });
    }
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(returned, 0);
    gMayLeave = true;
    for (auto& each : waiting) each.join();
    inside.join();
}

// Whether the descriptor of the file that somebody in this process has besides `own` is closed on
// exec. Waits for it.
bool isClosedOnExec(const std::string& path, int own) {
    for (;; std::this_thread::sleep_for(1ms)) {
        for (int fd = 0; fd < 100; ++fd) {
            char target[100] = {};
            const std::string link = "/proc/self/fd/" + std::to_string(fd);
            if (::readlink(link.c_str(), target, sizeof(target) - 1) < 0) continue;
            if (fd != own && path == target) return (::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0;
        }
    }
}

// Pipes in the place of files keep the service waiting with the file open.
TEST(ServiceFiles, AreClosedWhenTheHostStartsAnotherProgram) {
    ::signal(SIGPIPE, SIG_IGN);
    LogCapture log;
    const auto service = ndk::SharedRefBase::make<LumvndhalImpl>();
    const std::vector<uint8_t> block(100000, '\n');
    const std::string statistics = "\0\1\x86\xa0"s + std::string(100000, '\n');
    bool truth = false;
    int32_t number = 0;
    LumvndhalGenericData data;
    const std::pair<std::string, std::function<void()>> files[] = {
            {"/data/vendor/lum/shared/1503/nwstats.tmp",
             [&] { service->set_vnd_data("LUMNETSTATS", statistics, &number); }},
            {"/data/vendor/lum/f",
             [&] { service->write_data_to_vendor_dropbox("/f", block, 100000, &truth); }},
            {"/vendor/firmware_mnt/verinfo/ver_info.txt",
             [&] { service->get_vnd_data("BUILDID", &data, &number); }},
    };
    for (const auto& [path, call] : files) {
        makeDirectories(path.substr(0, path.rfind('/')));
        ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
        const int end = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
        std::thread caller(call);
        EXPECT_TRUE(isClosedOnExec(path, end)) << path;
        ::close(end);  // a reader finds the end, a writer an error
        caller.join();
    }
}

// --- What the stub does with requests that no proxy of ours would send.

class Stub : public testing::Test {
  protected:
    ndk::ScopedAParcel request() {
        ndk::ScopedAParcel in;
        EXPECT_EQ(AIBinder_prepareTransaction(mService->asBinder().get(), in.getR()), STATUS_OK);
        return in;
    }
    binder_status_t send(uint32_t code, ndk::ScopedAParcel in) {
        return AIBinder_transact(mService->asBinder().get(), code, in.getR(), mReply.getR(), 0);
    }

    ServiceUnderTest mService{From::kOtherProcess};
    ndk::ScopedAParcel mReply;
};

TEST_F(Stub, RefusesRequestsThatLackAnArgument) {
    auto noPath = request();
    AParcel_writeString(noPath.get(), nullptr, -1);
    EXPECT_EQ(send(2, std::move(noPath)), STATUS_UNEXPECTED_NULL);
    auto noCount = request();
    ndk::AParcel_writeString(noCount.get(), std::string("/f"));
    EXPECT_EQ(send(2, std::move(noCount)), STATUS_NOT_ENOUGH_DATA);
    auto noBytes = request();
    ndk::AParcel_writeString(noBytes.get(), std::string("/f"));
    AParcel_writeByteArray(noBytes.get(), nullptr, -1);
    EXPECT_EQ(send(6, std::move(noBytes)), STATUS_UNEXPECTED_NULL);
    EXPECT_EQ(send(7, request()), STATUS_UNKNOWN_TRANSACTION);
}

TEST_F(Stub, NeverEntersAMethodWithATextThatIsCutShort) {
    int32_t result = 7;
    const auto status = mService->update_vendor_dropbox("/\xe2\x82", true, &result);
    EXPECT_EQ(status.getExceptionCode(), EX_TRANSACTION_FAILED);
    EXPECT_TRUE(result == 7 && namesIn(kDropbox).empty());
}

}  // namespace
