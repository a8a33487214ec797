#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>
#include <android/binder_manager.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <future>
#include <memory>
#include <regex>
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
using testing::MatchesRegex;

const std::string kSocket = "/dev/socket/binder/vendor.tav.lumvndhal_aidl.ILumvndhal:default";
const std::string kDirectory = kDropbox;

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
        EXPECT_TRUE(write(*HostProcess::connect(), "/f", {1, 2, 3}));
        struct stat status = {};
        ASSERT_EQ(::stat((kDirectory + "/f").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0660U);
        ASSERT_EQ(::stat(kSocket.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0007U, 0U);
        EXPECT_EQ(host.endWith(signal), 0);
        EXPECT_FALSE(exists(kSocket));
    }
}

TEST(Host, EndsACallThatIsUnderWayBeforeItLeaves) {
    HostProcess host;
    makeDirectories(kDirectory + "/calls");
    const auto caller = std::async(std::launch::async, [service = HostProcess::connect()] {
        const std::vector<uint8_t> block(size_t{200} * 1024, 'x');
        for (int i = 0; write(*service, "/calls/f" + std::to_string(i), block);) ++i;
    });
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(host.endWith(SIGTERM), 0);
    caller.wait();
    for (const auto& name : namesIn(kDirectory + "/calls")) {
        EXPECT_EQ(readFile(kDirectory + "/calls/" + name).size(), 200U * 1024) << name;
    }
}

// A call that writes to a FIFO takes until somebody reads from that.
TEST(Host, AnswersNoCallDuringAnotherWhenItHasOneThreadAndRefusesItWhenItEnds) {
    HostProcess host({"--threads=1"});
    const auto service = HostProcess::connect();
    const std::string fifo = kDirectory + "/fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    auto slow = std::async(std::launch::async, [&] { return write(*service, "/fifo", {1}); });
    std::future<bool> other;
    bool answered = true;
    for (int i = 0; answered && i < 10000; ++i) {  // as long as the slow call is not there yet
        other = std::async(std::launch::async, [] {
            int32_t version = 0;
            const auto late = HostProcess::connect();
            return late != nullptr && late->getInterfaceVersion(&version).isOk();
        });
        answered = other.wait_for(300ms) == std::future_status::ready;
    }
    EXPECT_FALSE(answered);
    ::kill(host.pid(), SIGTERM);
    EXPECT_EQ(other.wait_for(3s), std::future_status::ready);
    const ndk::ScopedFileDescriptor reader(::open(fifo.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    EXPECT_TRUE(slow.get() && !other.get());
}

TEST(Host, TakesItsOptionsAndSaysInOneLineWhatItRefuses) {
    const HostProcess host({"--instance=other", "--version-text=2.1"});
    EXPECT_EQ(get(*HostProcess::connect("other"), "LUMTR_VERSION"), "2.1.0");
    const auto refused = [](const char* option) {
        HostProcess refusing({option});
        const int status = refusing.wait();
        return std::to_string(status) + " " + refusing.errors();
    };
    for (const char* wrong :
         {"--threads=0", "--threads=65", "--threads=x", "--threads=-1", "--threads=4x", "--threads",
          "--instance=", "--nonsense", "argument"}) {
        EXPECT_THAT(refused(wrong), MatchesRegex("2 [^\n]+\n"));
    }
    EXPECT_THAT(refused("--instance=a b"), MatchesRegex("1 [^\n]+ no valid name[^\n]*\n"));
    EXPECT_THAT(refused("--instance=other"), MatchesRegex("1 [^\n]+ has this name already\n"));
    EXPECT_EQ(HostProcess({"--help"}).wait(), 0);
}

// One line each, whatever a client sends: long texts are cut between characters.
TEST(Host, WritesALineForEachCallWhenToldToTraceThem) {
    HostProcess host({"--trace"});
    const auto service = HostProcess::connect();
    EXPECT_TRUE(write(*service, "/f", {1, 2, 3}) && write(*service, "/f", {}));
    EXPECT_EQ(get(*service, "LUMTR_VERSION"), "1.0.0");
    EXPECT_EQ(set(*service, "LUMNETSTATS", "\n" + std::string(98, 'x') + "ä"), -1);
    EXPECT_EQ(host.endWith(SIGTERM), 0);
    const std::string begin = "I/LUM:calls\\([ 0-9]+\\): [0-9:]{8}\\.[0-9]{3} ";
    const std::string end = ", [0-9]+\\.[0-9][0-9] ms\n";
    EXPECT_THAT(host.errors(),
                MatchesRegex(".*" + begin +
                             "write_data_to_vendor_dropbox\\(spath=/f, data=3 bytes, length=3\\) "
                             "= true" +
                             end + ".*data=0 bytes, length=0\\) = true" + end + ".*" + begin +
                             "get_vnd_data\\(cmd=LUMTR_VERSION\\) = 0, "
                             "vnd_data=LumvndhalGenericData\\{data_size: 5, data: 1.0.0\\}" +
                             end + ".*" + begin +
                             "set_vnd_data\\(cmd=LUMNETSTATS, param=\\.x{98}\\.\\.\\. "
                             "\\(101 bytes\\)\\) = -1" +
                             end));
}

class SampleEngine : public testing::Test {
  protected:
    void SetUp() override {
        if (SAMPLE_ENGINE == 0) GTEST_SKIP() << "this build has another engine";
    }
    std::ptrdiff_t countInState(const std::string& what) {
        const std::string state = get(*mService, "collectorsState");
        const std::regex expression(what);
        return std::distance(std::sregex_iterator(state.begin(), state.end(), expression), {});
    }

    HostProcess mHost;
    std::shared_ptr<ILumvndhal> mService = HostProcess::connect();
};

TEST_F(SampleEngine, AnswersCampaignCommandsAndQuestions) {
    for (const char* camp : {"k1;c2,c1,", "k1;c3", "none;,", "say \"hi\"\n\x7f;c\\"})
        set(*mService, "startCamp", camp);
    for (const char* camp : {"k1;c1", "k1;other", "none;c"}) set(*mService, "stopCamp", camp);
    EXPECT_EQ(set(*mService, "startModuleCamp", "3"), 0);
    EXPECT_EQ(get(*mService, "statusCamp;3") + get(*mService, "statusCamp;4"), "onoff");
    EXPECT_EQ(
            get(*mService, "collectorsState"),
            R"({"campaigns":[{"key":"k1","collectors":["c2","c3"]},)"
            R"({"key":"say \"hi\"\u000a\u007f","collectors":["c\\"]}],"modules":[{"id":3,"on":true}]})");
    for (const char* key : {"k1;", "say \"hi\"\n\x7f;"})
        EXPECT_EQ(set(*mService, "stopCamp", key), 0);
    EXPECT_EQ(set(*mService, "cmdOptout", "3"), 0);
    EXPECT_EQ(get(*mService, "collectorsState"), R"({"campaigns":[],"modules":[]})");
}

TEST_F(SampleEngine, HoldsAsManyCampaignsAndModulesAsItSaysAndNoMore) {
    for (int i = 0; i < 300; ++i) set(*mService, "startCamp", "k" + std::to_string(i) + ";c");
    EXPECT_EQ(countInState("\"key\""), 256);
    EXPECT_EQ(set(*mService, "stopCamp", "k0;"), 0);
    EXPECT_EQ(set(*mService, "startCamp", "k299;c"), 0);
    EXPECT_EQ(countInState("\"k299\""), 1);
    for (int i = 0; i < 1100; ++i) set(*mService, "startModuleCamp", std::to_string(1000 + i));
    set(*mService, "startModuleCamp", "1000");  // which is on already
    EXPECT_EQ(get(*mService, "statusCamp;2023") + get(*mService, "statusCamp;2024"), "onoff");
    EXPECT_EQ(mHost.endWith(SIGTERM), 0);
    const std::string log = mHost.errors();
    const std::regex warning("No room for another (campaign|module): command ignored");
    EXPECT_EQ(std::distance(std::sregex_iterator(log.begin(), log.end(), warning), {}), 44 + 76);
}

// The names of all keys and collectors. A control character is the longest one in a reply.
TEST_F(SampleEngine, HoldsAsManyBytesOfNamesAsItSaysAndStillFitsAReply) {
    const std::string most(32 * 1024 - 2, '\x01');
    EXPECT_EQ(set(*mService, "startCamp", "k;a"), 0);
    EXPECT_EQ(set(*mService, "startCamp", "k;" + most + "\x01"), 0);
    EXPECT_EQ(countInState("u0001"), 0);
    EXPECT_EQ(set(*mService, "startCamp", "k;a," + most), 0);
    EXPECT_EQ(countInState("u0001"), 32 * 1024 - 2);
    EXPECT_EQ(set(*mService, "startCamp", "k;b"), 0);
    EXPECT_EQ(set(*mService, "startCamp", "l;a"), 0);
    EXPECT_EQ(countInState("\"[bl]\""), 0);
    EXPECT_EQ(set(*mService, "stopCamp", "k;"), 0);
    EXPECT_EQ(set(*mService, "startCamp", "k;" + most + "\x01"), 0);
    EXPECT_EQ(countInState("u0001"), 32 * 1024 - 1);
}

}  // namespace
