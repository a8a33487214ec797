// The command words of get_vnd_data and set_vnd_data, on the object and from another process.
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>

#include "Files.h"
#include "ServiceUnderTest.h"

namespace {

using namespace std::string_literals;
using aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData;
using support::debug;
using support::error;
using support::From;
using support::info;
using support::LogLines;
using support::verbose;

constexpr char kVersionFile[] = "/vendor/firmware_mnt/verinfo/ver_info.txt";
constexpr char kCountFile[] = "/mnt/vendor/persist/lum/frc.dat";
constexpr char kStatisticsFolder[] = "/data/vendor/lum/shared/1503";
constexpr char kStatisticsFile[] = "/data/vendor/lum/shared/1503/nwstats.tmp";
constexpr char kDisable[] = "vendor.tav.lum.frc.disable";

// --- A session operator that writes into the service's log what it was asked.

void report(const std::string& text) {
    __android_log_write(ANDROID_LOG_WARN, "LUM:lumvndhal_aidl", text.c_str());
}
support::LogLine asked(const std::string& text) {
    return {ANDROID_LOG_WARN, text};
}
void onCampaign(uint32_t operation, std::string field, std::vector<std::string> names) {
    report("campaign " + std::to_string(operation) + ' ' + field + ' ' +
           std::to_string(names.size()));
}
void onModule(uint32_t operation, uint32_t module) {
    report("module " + std::to_string(operation) + ' ' + std::to_string(module));
}

// Of `size` bytes, all whole characters.
std::string textOf(const std::string& character, size_t size) {
    std::string text(size % character.size(), '.');
    while (text.size() < size) text += character;
    return text;
}
const std::string kCharacters[] = {"x", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\x80"};
constexpr uint32_t kSecond = 1000000;

// The status of module 2047 has 2047 bytes, that of 1002047 as many in characters of two bytes, ...
void onStatus(std::string& answer, uint32_t module) {
    answer = textOf(kCharacters[module / kSecond], module % kSecond);
}
void onState(std::string& answer) {
    answer = R"({"collectors":[]})";
}
void onLongState(std::string& answer) {
    answer = textOf(kCharacters[2], 100000);
}
void onStateWithNul(std::string& answer) {
    answer = "a\0bc"s;
}
void onStatusWithNul(std::string& answer, uint32_t) {
    onStateWithNul(answer);
}

void prepare(support::LumvndhalImpl& object) {
    object.init_session_operator(onCampaign, onModule, onStatus, onState);
    object.set_lumtr_version("2.1");
}

void limitFileSize(rlim_t size) {
    struct rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    limit.rlim_cur = std::min(size, limit.rlim_max);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

class VendorData : public testing::TestWithParam<From> {
  protected:
    void SetUp() override {
        support::removeAll(kVersionFile);
        support::removeAll(kCountFile);
        support::removeAll("/sys/devices/soc0/soc_id");
        support::removeAll("/sys/devices/soc0/serial_number");
        support::makeDirectories(kStatisticsFolder);
        support::removeAll(kStatisticsFile);
        ASSERT_EQ(property_set(kDisable, ""), 0);
    }
    void start(void (*how)(support::LumvndhalImpl&) = prepare) {
        mService.reset();  // of two there is one too many
        mService = std::make_unique<support::ServiceUnderTest>(GetParam(), how);
        mService->takeLog();
    }
    void expectData(const std::string& cmd, const std::string& data, int32_t size) {
        SCOPED_TRACE(cmd);
        LumvndhalGenericData reply;
        int32_t result = 17;
        ASSERT_TRUE((*mService)->get_vnd_data(cmd, &reply, &result).isOk());
        EXPECT_EQ(result, 0);
        EXPECT_EQ(reply.data, data);
        EXPECT_EQ(reply.data_size, size);
    }
    void expectData(const std::string& cmd, const std::string& data) {
        expectData(cmd, data, static_cast<int32_t>(data.size()));
    }
    void expectLog(const LogLines& lines) { EXPECT_EQ(mService->takeLog(), lines); }

    // Sends a command and looks at the result and at all that it logged.
    void expectSet(const std::string& cmd, const std::string& param, int32_t expected,
                   LogLines lines) {
        SCOPED_TRACE(cmd + ' ' + param.substr(0, 40));
        const size_t before = support::openDescriptors(mService->process());
        int32_t result = 17;
        ASSERT_TRUE((*mService)->set_vnd_data(cmd, param, &result).isOk());
        EXPECT_EQ(result, expected);
        const std::string logged = cmd.substr(0, cmd.find('\0'));
        lines.insert(lines.begin(), verbose("set_vnd_data(), cmd=" + logged + ' '));
        expectLog(lines);
        EXPECT_EQ(support::openDescriptors(mService->process()), before);
    }
    void expectStatistics(const std::string& param, int32_t length, const std::string& content) {
        LogLines lines = {info("nwstats data length=" + std::to_string(length))};
        if (content.empty()) lines.push_back(error("[ERROR] Invalid data"));
        support::writeFile(kStatisticsFile, "what was there before");
        expectSet("LUMNETSTATS", param, content.empty() ? -1 : 0, lines);
        EXPECT_EQ(support::readFile(kStatisticsFile), content);
    }
    bool isRemote() const { return GetParam() == From::kOtherProcess; }

    std::unique_ptr<support::ServiceUnderTest> mService;
};

// For bytes that are no text and so do not travel.
class LocalVendorData : public VendorData {};

INSTANTIATE_TEST_SUITE_P(, VendorData, testing::Values(From::kSameProcess, From::kOtherProcess),
                         [](const auto& parameter) { return support::nameOf(parameter.param); });
INSTANTIATE_TEST_SUITE_P(, LocalVendorData, testing::Values(From::kSameProcess));

}  // namespace

TEST_P(VendorData, BuildIdIsAnsweredWithItsLengthOrMinusOne) {
    start();
    expectData("BUILDID", "", -1);
    support::writeFile(kVersionFile, " \"apps_vendor\": \"A:1\",\n");
    expectData("BUILDID", "A::1|N/A");
    expectData("BUILDIDxyz statusCamp;3 collectorsState", "A::1|N/A");
    expectData("BUILDID\0"s, "A::1|N/A");
    const LogLines lines = mService->takeLog();
    EXPECT_EQ(lines.size(), 4U) << "the word itself leaves no line";
}

TEST_P(VendorData, VersionEndsInTheCountUnlessThePropertySaysOne) {
    start();
    support::writeFile(kCountFile, "3\n");
    const auto counted =
            info("get_factory_reset_count:LUM_FACTORY_RESET_COUNT_PERSIST_FILE : 3, 3\n");
    for (const std::string& value : {""s, "0"s, "10"s, "1 "s}) {
        ASSERT_EQ(property_set(kDisable, value.c_str()), 0);
        expectData("LUMTR_VERSION", "2.1.3");
        expectLog({info("FRC:"s + kDisable + " = " + value), debug("FRC_ENABLE\n"), counted});
    }
    ASSERT_EQ(property_set(kDisable, "1"), 0);
    expectData("LUMTR_VERSIONS", "2.1");
    expectLog({debug("FRC_DISABLE\n")});
}

TEST_P(VendorData, VersionWithoutATextIsADotAndTheCount) {
    start(nullptr);
    expectData("LUMTR_VERSION", ".0");
    support::writeFile(kCountFile, "-9223372036854775808");
    expectData("LUMTR_VERSION", ".-9223372036854775808");
    ASSERT_EQ(property_set(kDisable, "1"), 0);
    expectData("LUMTR_VERSION", "");
}

TEST_P(VendorData, ChipsetSerialFitsAsLongAsItCanBe) {
    start();
    expectData("CHIPSET_SERIAL", "-+000000000");
    expectLog({info("get_chipset_serial()")});
    const std::string longest(127, '8');
    support::writeFile("/sys/devices/soc0/soc_id", longest);
    support::writeFile("/sys/devices/soc0/serial_number", longest);
    expectData("CHIPSET_SERIAL;BUILDID", longest + "+" + longest);
}

TEST_P(VendorData, CampaignStatusIsAskedForWithTheWholeCommand) {
    start();
    const auto expectStatus = [this](const std::string& cmd, const std::string& first,
                                     const std::string& module, const std::string& status) {
        expectData(cmd, status);
        expectLog({verbose("getCampStatus, cmd=" + first + ", moduleId=" + module),
                   verbose("getCampStatus, result=" + status)});
    };
    expectStatus("statusCamp;3", "statusCamp", "3", "xxx");
    expectStatus("get statusCamp;x;3", "get statusCamp", "3", "xxx");
    expectStatus("collectorsStatestatusCamp;2", "collectorsStatestatusCamp", "2", "xx");
    expectStatus("\0statusCamp;0"s, "", "0", "");
    expectData("statusCamp", "invalid module");
    expectData("BUILDI;LUMTR_VERSIOstatusCamp;99999999999", "invalid module");
}

TEST_P(VendorData, CampaignStatusIsCutBeforeTheCharacterThatDoesNotFit) {
    start();
    for (const uint32_t width : {1U, 2U, 3U, 4U}) {
        const uint32_t kind = (width - 1) * kSecond;
        for (const uint32_t size : {2046U, 2047U, 2048U, 2049U, 2050U, 2051U, 100000U}) {
            const std::string whole = textOf(kCharacters[width - 1], size);
            size_t end = size;
            while (end > 2047) end -= width;
            expectData("statusCamp;" + std::to_string(kind + size), whole.substr(0, end));
        }
    }
}

TEST_P(LocalVendorData, CampaignStatusThatIsNotUtf8IsCutAnywhere) {
    start();
    expectData("statusCamp;4002047", std::string(2047, '\x80'));
    expectData("statusCamp;4002048", std::string(2047, '\x80'));
}

TEST_P(VendorData, CollectorsStateIsOfAnyLength) {
    start();
    for (const std::string cmd : {"collectorsState", "get collectorsState;3"}) {
        expectData(cmd, R"({"collectors":[]})");
        expectLog({verbose("getCollectorsState, param=" + cmd), debug("data_size=17")});
    }
    start([](support::LumvndhalImpl& object) {
        object.init_session_operator(onCampaign, onModule, onStatus, onLongState);
    });
    expectData("collectorsState", textOf(kCharacters[2], 100000));
}

// The operator should not write one; the size still tells what it wrote.
TEST_P(VendorData, AnswerEndsAtANul) {
    start([](support::LumvndhalImpl& object) {
        object.init_session_operator(onCampaign, onModule, onStatusWithNul, onStateWithNul);
    });
    expectData("statusCamp;1", "a", 4);
    mService->takeLog();
    expectData("collectorsState", "a", 4);
    expectLog({verbose("getCollectorsState, param=collectorsState"), debug("data_size=4")});
}

TEST_P(VendorData, UnknownQueryIsLeftUnanswered) {
    start();
    for (const std::string& cmd :
         {""s, "BUILDI"s, "buildid"s, " BUILDID"s, "LUMTR_VERSIO"s, "xLUMTR_VERSION"s, "statusCam"s,
          "StatusCamp;3"s, "status\0Camp;3"s, "collectorsStat"s, "CollectorsState"s, "startCamp"s,
          std::string(100000, 'x')}) {
        LumvndhalGenericData reply = {};
        reply.data = "own";
        reply.data_size = 5;
        int32_t result = 17;
        ASSERT_TRUE((*mService)->get_vnd_data(cmd, &reply, &result).isOk());
        EXPECT_EQ(result, isRemote() ? 0 : 17) << cmd;
        EXPECT_EQ(reply.data, isRemote() ? "" : "own") << cmd;
        EXPECT_EQ(reply.data_size, isRemote() ? 0 : 5) << cmd;
    }
    expectLog({});
}

TEST_P(VendorData, StatisticsOfTheStatedLengthAreStored) {
    start();
    const std::string block("\0\0\0\3abc", 7);
    expectStatistics(block, 3, "abc");
    expectStatistics(block + "d", 3, "");
    expectStatistics(block.substr(0, 6), 3, "");
    expectStatistics("\0\0\0\1\0"s, 1, std::string(1, '\0'));
    expectStatistics("\0\1\0\0"s + std::string(65536, 'x'), 65536, std::string(65536, 'x'));
    expectStatistics("\0\0\0\0a"s, 0, "");
    expectStatistics("\1\2\3\4a"s, 0x01020304, "");
    expectSet("LUMNETSTATS and more", block, 0, {info("nwstats data length=3")});
}

TEST_P(LocalVendorData, StatisticsLengthIsSignedAndNeverOverflows) {
    start();
    expectStatistics("\x7f\xff\xff\xffxyz", INT32_MAX, "");
    expectStatistics("\x80\1\1\1xyz", -2147417855, "");
    expectStatistics("\xff\xff\xff\xffxyz", -1, "");
    expectStatistics("\xff\xff\xff\xfcxyz", -4, "");
    expectStatistics("\0\0\0\xc8"s + std::string(200, '\xff'), 200, std::string(200, '\xff'));
}

TEST_P(VendorData, StatisticsWithoutAPayloadOrAPlaceAreRefused) {
    start();
    support::writeFile(kStatisticsFile, "before");
    for (const std::string& param : {""s, "\0\0\0\1"s}) {
        expectSet("LUMNETSTATS", param, -1, {error("[ERROR] Invalid data")});
    }
    EXPECT_EQ(support::readFile(kStatisticsFile), "before");

    const std::string block("\0\0\0\3abc", 7);
    const LogLines refused = {error("[ERROR] Can't create nwstats.tmp")};
    support::removeAll(kStatisticsFile);
    support::makeDirectories(kStatisticsFile);
    expectSet("LUMNETSTATS", block, -1, refused);
    support::removeAll(kStatisticsFolder);
    expectSet("LUMNETSTATS", block, -1, refused);
    EXPECT_FALSE(support::exists(kStatisticsFolder));
}

// The limit on a file's size fails the write after its first bytes, as a full disk does.
TEST_P(VendorData, StatisticsThatCannotBeWrittenAreStillAnsweredWithSuccess) {
    start([](support::LumvndhalImpl&) {
        ASSERT_NE(signal(SIGXFSZ, SIG_IGN), SIG_ERR);
        limitFileSize(2);
    });
    expectSet("LUMNETSTATS", "\0\0\0\3abc"s, 0, {info("nwstats data length=3")});
    limitFileSize(RLIM_INFINITY);
    EXPECT_EQ(support::readFile(kStatisticsFile), "ab");
}

TEST_P(VendorData, CampaignCommandsGiveTheResultOfTheirOperation) {
    start();
    const auto parsed = [](const std::string& cmd) {
        return LogLines{verbose("setCampOperation, cmd=" + cmd + ", param=k;a,b"),
                        verbose("setCampOperation, k, collectorList=a,b"),
                        asked(cmd == "startCamp" ? "campaign 1 k 2" : "campaign 0 k 2")};
    };
    for (const std::string cmd : {"startCamp", "stopCamp"}) {
        expectSet(cmd, "k;a,b", 0, parsed(cmd));
        expectSet(cmd, "", -1,
                  {verbose("setCampOperation, cmd=" + cmd + ", param="),
                   error("[ERROR] param is empty")});
    }
    for (const std::string cmd : {"startModuleCamp", "stopModuleCamp", "cmdOptIn", "cmdOptout"}) {
        const bool on = cmd == "startModuleCamp" || cmd == "cmdOptIn";
        const std::string call = "setCampModuleOperation, cmd=" + cmd + ", param=";
        expectSet(cmd, "012", 0,
                  {verbose(call + "012"), asked(on ? "module 1 12" : "module 0 12")});
        expectSet(cmd, "2147483648", -1,
                  {verbose(call + "2147483648"), error("[ERROR] param is invalid")});
    }
}

TEST_P(VendorData, UnknownCommandIsLeftUnanswered) {
    start();
    for (const std::string& cmd : {""s, "LUMNETSTAT"s, "lumnetstats"s, " LUMNETSTATS"s,
                                   "startCamp "s, "StartCamp"s, "xstartCamp"s, "startCamp\0"s,
                                   "stopCampaign"s, "cmdOptOut"s, "cmdOptin"s, "statusCamp"s}) {
        expectSet(cmd, "1", isRemote() ? 0 : 17, {});
    }
    EXPECT_EQ(support::namesIn(kStatisticsFolder), std::vector<std::string>{});
}
