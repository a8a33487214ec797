#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>
#include <android/binder_manager.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "Files.h"
#include "HostProcess.h"

namespace {

using namespace support;
using namespace std::chrono_literals;
using aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;
using aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData;

const std::string kSocket = "/dev/socket/binder/vendor.tav.lumvndhal_aidl.ILumvndhal:default";

std::string get(ILumvndhal& service, const std::string& word) {
    LumvndhalGenericData data;
    int32_t result = -1;
    EXPECT_TRUE(service.get_vnd_data(word, &data, &result).isOk());
    EXPECT_EQ(result, 0);
    return data.data;
}

int32_t set(ILumvndhal& service, const std::string& word, const std::string& param) {
    int32_t result = 99;
    EXPECT_TRUE(service.set_vnd_data(word, param, &result).isOk());
    return result;
}

bool write(ILumvndhal& service, const std::string& path, const std::vector<uint8_t>& bytes) {
    bool result = false;
    const auto length = static_cast<int32_t>(bytes.size());
    return service.write_data_to_vendor_dropbox(path, bytes, length, &result).isOk() && result;
}

TEST(Host, ServesUntilItIsToldToEndAndLeavesNothing) {
    for (const int signal : {SIGTERM, SIGINT}) {
        HostProcess host;
        const auto service = host.connect();
        EXPECT_TRUE(write(*service, "/f", {1, 2, 3}));
        struct stat status = {};
        ASSERT_EQ(::stat("/data/vendor/lum/f", &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0660U);
        ASSERT_EQ(::stat(kSocket.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0007U, 0U);
        EXPECT_EQ(host.end(signal), 0);
        EXPECT_FALSE(exists(kSocket));
        EXPECT_EQ(AServiceManager_checkService(host.name().c_str()), nullptr);
    }
}

TEST(Host, EndsACallThatIsUnderWayBeforeItLeaves) {
    HostProcess host;
    const auto service = host.connect();
    makeDirectories(std::string(kDropbox) + "/calls");
    std::atomic<bool> go{true};
    std::atomic<int> torn{0};
    std::thread caller([&] {
        const std::vector<uint8_t> block(200 * 1024, 'x');
        for (int i = 0; go; ++i) {
            bool result = false;
            const auto status = service->write_data_to_vendor_dropbox(
                    "/calls/f" + std::to_string(i), block, static_cast<int32_t>(block.size()),
                    &result);
            if (!status.isOk()) return;
            if (!result) ++torn;
        }
    });
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(host.end(SIGTERM), 0);
    go = false;
    caller.join();
    EXPECT_EQ(torn, 0);
    for (const auto& name : namesIn(std::string(kDropbox) + "/calls")) {
        EXPECT_EQ(readFile(std::string(kDropbox) + "/calls/" + name).size(), 200U * 1024) << name;
    }
}

TEST(Host, TakesItsOptionsAndRefusesOthersInOneLine) {
    HostProcess host({"--instance=other", "--threads=1", "--version-text=2.1"});
    const auto service = host.connect("other");
    EXPECT_EQ(get(*service, "LUMTR_VERSION"), "2.1.0");
    for (const std::vector<std::string>& wrong :
         std::vector<std::vector<std::string>>{{"--threads=0"},
                                               {"--threads=65"},
                                               {"--threads=x"},
                                               {"--threads"},
                                               {"--instance="},
                                               {"--nonsense"},
                                               {"argument"}}) {
        HostProcess refused(wrong);
        EXPECT_EQ(refused.wait(), 2) << wrong[0];
        const std::string said = refused.errors();
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    }
    HostProcess help({"--help"});
    EXPECT_EQ(help.wait(), 0);
}

TEST(Host, RefusesToServeWhereItCannotInOneLine) {
    HostProcess first;
    first.connect();
    HostProcess second;
    EXPECT_EQ(second.wait(), 1);
    EXPECT_EQ(second.errors(),
              "Cannot register vendor.tav.lumvndhal_aidl.ILumvndhal/default: a living service has "
              "this name already\n");
    HostProcess badName({"--instance=a b"});
    EXPECT_EQ(badName.wait(), 1);
    EXPECT_NE(badName.errors().find("no valid name"), std::string::npos);
}

TEST(Host, CanBeStartedAgainAtOnceAfterItWasKilled) {
    for (int i = 0; i < 5; ++i) {
        HostProcess host;
        const auto service = host.connect();
        auto pending = std::async(std::launch::async, [&] {
            const std::vector<uint8_t> block(500 * 1024);
            while (write(*service, "/f", block)) {
            }
        });
        std::this_thread::sleep_for(20ms);
        host.kill();
        pending.get();
        EXPECT_TRUE(exists(kSocket));  // left behind
    }
}

class SampleEngine : public testing::Test {
  protected:
    void SetUp() override {
        if (SAMPLE_ENGINE == 0) GTEST_SKIP() << "this build has another engine";
    }
};

TEST_F(SampleEngine, AnswersCampaignCommandsAndQuestions) {
    HostProcess host;
    const auto service = host.connect();
    EXPECT_EQ(set(*service, "startCamp", "k1;c2,c1,"), 0);
    EXPECT_EQ(set(*service, "startCamp", "k1;c3"), 0);
    EXPECT_EQ(set(*service, "startCamp", "say \"hi\"\n;c\\"), 0);
    EXPECT_EQ(set(*service, "stopCamp", "k1;c1"), 0);
    EXPECT_EQ(set(*service, "startModuleCamp", "3"), 0);
    EXPECT_EQ(get(*service, "statusCamp;3"), "on");
    EXPECT_EQ(get(*service, "statusCamp;4"), "off");
    EXPECT_EQ(
            get(*service, "collectorsState"),
            R"({"campaigns":[{"key":"k1","collectors":["c2","c3"]},)"
            R"({"key":"say \"hi\"\u000a","collectors":["c\\"]}],"modules":[{"id":3,"on":true}]})");
    EXPECT_EQ(set(*service, "stopCamp", "k1;"), 0);
    EXPECT_EQ(set(*service, "stopCamp", "say \"hi\"\n;"), 0);
    EXPECT_EQ(set(*service, "cmdOptout", "3"), 0);
    EXPECT_EQ(get(*service, "collectorsState"), R"({"campaigns":[],"modules":[]})");
}

size_t countOf(const std::string& what, const std::string& text) {
    size_t count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++count;
    return count;
}

TEST_F(SampleEngine, HoldsAsManyCampaignsAndModulesAsItSaysAndNoMore) {
    HostProcess host;
    const auto service = host.connect();
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(set(*service, "startCamp", "k" + std::to_string(i) + ";\x01"), 0);
    }
    EXPECT_EQ(countOf("\"key\"", get(*service, "collectorsState")), 256U);
    EXPECT_EQ(set(*service, "stopCamp", "k0;"), 0);
    EXPECT_EQ(set(*service, "startCamp", "k299;c"), 0);
    EXPECT_EQ(countOf("\"k299\"", get(*service, "collectorsState")), 1U);
    for (int i = 0; i < 1100; ++i) set(*service, "startModuleCamp", std::to_string(2147480000 + i));
    EXPECT_EQ(get(*service, "statusCamp;2147481023"), "on");
    EXPECT_EQ(get(*service, "statusCamp;2147481024"), "off");
}

TEST_F(SampleEngine, HoldsAsManyBytesOfNamesAsItSaysAndStillFitsAReply) {
    HostProcess host;
    const auto service = host.connect();
    // A control character is the longest one in a reply. The key takes a byte, the names the rest.
    const std::string full = "k;" + std::string(32 * 1024 - 1, '\x01');
    EXPECT_EQ(set(*service, "startCamp", full + "\x01"), 0);
    EXPECT_EQ(get(*service, "collectorsState"), R"({"campaigns":[],"modules":[]})");
    EXPECT_EQ(set(*service, "startCamp", full), 0);
    const std::string state = get(*service, "collectorsState");
    EXPECT_EQ(countOf("\\u0001", state), 32U * 1024 - 1);
    EXPECT_EQ(set(*service, "startCamp", "k;c"), 0);
    EXPECT_EQ(set(*service, "startCamp", "l;c"), 0);
    EXPECT_EQ(get(*service, "collectorsState"), state);
}

// Calls of every kind, so that a leak or a race of any of them shows.
void callMixed(ILumvndhal& service, int client, int calls) {
    const std::string directory = "/client" + std::to_string(client);
    const std::vector<uint8_t> block(static_cast<size_t>(1000 * (client + 1)), 'x');
    for (int i = 0; i < calls; ++i) {
        int32_t number = 0;
        LumvndhalGenericData data;
        switch (i % 6) {
            case 0:
                service.update_vendor_dropbox(directory, true, &number);
                break;
            case 1:
                EXPECT_TRUE(write(service, directory + "/f", block));
                break;
            case 2:
                service.get_vnd_data("statusCamp;1", &data, &number);
                break;
            case 3:
                set(service, "startCamp", "k" + std::to_string(client) + ";c");
                break;
            case 4:
                service.get_vnd_data("CHIPSET_SERIAL", &data, &number);
                break;
            default:
                service.update_vendor_dropbox(directory, false, &number);
                break;
        }
    }
}

// Resident memory in KiB.
size_t memoryOf(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, 6, "VmRSS:") == 0) return std::stoul(line.substr(6));
    }
    return 0;
}

TEST(Host, StaysFlatUnderAThousandMixedCallsOfEightClients) {
    HostProcess host;
    const auto service = host.connect();
    const size_t descriptors = openDescriptors(host.pid());
    const auto clients = [&](int calls) {
        std::vector<std::unique_ptr<ChildProcess>> all;
        for (int client = 0; client < 8; ++client) {
            all.push_back(std::make_unique<ChildProcess>([&, client] {
                callMixed(*host.connect(), client, calls);
                return testing::Test::HasFailure() ? 1 : 0;
            }));
        }
        for (auto& each : all) EXPECT_EQ(each->wait(), 0);
    };
    clients(126);  // what a service sets up once
    const size_t memory = memoryOf(host.pid());
    for (int round = 0; round < 3; ++round) clients(126);
    EXPECT_TRUE(host.settlesAt(descriptors));
    EXPECT_LE(memoryOf(host.pid()), memory + MEMORY_SLACK_KIB);
}

}  // namespace
