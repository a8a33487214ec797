// The command words of get_vnd_data and set_vnd_data, on the object and from another process.
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <unistd.h>

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

// Of `size` bytes, all whole characters.
std::string textOf(const std::string& character, size_t size) {
    std::string text(size % character.size(), '.');
    while (text.size() < size) text += character;
    return text;
}
const std::string kCharacters[] = {"x",    "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80",
                                   "\x80", "\0"s};
constexpr uint32_t kSecond = 1000000;

// The status of module 2047 has 2047 bytes, that of 1002047 as many in characters of two bytes, ...
void onStatus(std::string& answer, uint32_t module) {
    answer = textOf(kCharacters[module / kSecond], module % kSecond);
}
void onState(std::string& answer) {
    answer = textOf(kCharacters[2], 100000);
}

void prepare(support::LumvndhalImpl& object) {
    object.init_session_operator([](uint32_t, std::string, std::vector<std::string>) {},
                                 [](uint32_t, uint32_t) {}, onStatus, onState);
    object.set_lumtr_version("2.1");
}

class VendorData : public testing::TestWithParam<From> {
  protected:
    void SetUp() override {
        support::removeAll(kVersionFile);
        support::removeAll(kStatisticsFile);
        support::makeDirectories(kStatisticsFolder);
        ASSERT_EQ(property_set(kDisable, ""), 0);
        mService = std::make_unique<support::ServiceUnderTest>(GetParam(), prepare);
        if (!isRemote()) mService->takeLog();
    }
    void expectReply(const std::string& cmd, int32_t result, const std::string& data,
                     int32_t size) {
        SCOPED_TRACE(cmd);
        LumvndhalGenericData reply = {};
        reply.data = "own";
        reply.data_size = 5;
        int32_t answer = 17;
        ASSERT_TRUE((*mService)->get_vnd_data(cmd, &reply, &answer).isOk());
        EXPECT_EQ(answer, result);
        EXPECT_EQ(reply.data, data);
        EXPECT_EQ(reply.data_size, size);
    }
    void expectData(const std::string& cmd, const std::string& data) {
        expectReply(cmd, 0, data, static_cast<int32_t>(data.size()));
    }
    // Over the wire the lines are those of the same calls in this process.
    void expectLog(const LogLines& lines) {
        if (isRemote()) return;
        EXPECT_EQ(mService->takeLog(), lines);
    }

    // Sends a command and looks at the result and at all that it logged.
    void expectSet(const std::string& cmd, const std::string& param, int32_t expected,
                   LogLines lines) {
        SCOPED_TRACE(cmd + ' ' + param.substr(0, 40));
        const size_t before = support::openDescriptors(mService->process());
        int32_t result = 17;
        ASSERT_TRUE((*mService)->set_vnd_data(cmd, param, &result).isOk());
        EXPECT_EQ(result, expected);
        lines.insert(lines.begin(), verbose("set_vnd_data(), cmd="s + cmd.c_str() + ' '));
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

INSTANTIATE_TEST_SUITE_P(, VendorData, testing::Values(From::kSameProcess, From::kOtherProcess),
                         [](const auto& parameter) { return support::nameOf(parameter.param); });

}  // namespace

TEST_P(VendorData, BuildIdIsAnsweredWithItsLengthOrMinusOne) {
    expectReply("BUILDID", 0, "", -1);
    support::writeFile(kVersionFile, " \"apps_vendor\": \"A:1\",\n");
    expectData("BUILDIDxyz statusCamp;3 collectorsState", "A::1|N/A");
    expectLog({info("get_build_id: "s + kVersionFile + " file not exist. Use platform BuildId\n"),
               info("get_build_id data = [A::1|N/A] data_size = 8\n")});
}

TEST_P(VendorData, VersionEndsInTheCountUnlessThePropertySaysOne) {
    support::writeFile(kCountFile, "3\n");
    expectData("LUMTR_VERSION", "2.1.3");
    expectLog({info("FRC:"s + kDisable + " = "), debug("FRC_ENABLE\n"),
               info("get_factory_reset_count:LUM_FACTORY_RESET_COUNT_PERSIST_FILE : 3, 3\n")});
    ASSERT_EQ(property_set(kDisable, "1"), 0);
    expectData("LUMTR_VERSIONS", "2.1");
    expectLog({debug("FRC_DISABLE\n")});
}

TEST_P(VendorData, ChipsetSerialFitsAsLongAsItCanBe) {
    const std::string longest(127, '8');
    support::writeFile("/sys/devices/soc0/soc_id", longest);
    support::writeFile("/sys/devices/soc0/serial_number", longest);
    expectData("CHIPSET_SERIAL;BUILDID", longest + "+" + longest);
    expectLog({info("get_chipset_serial()")});
}

TEST_P(VendorData, CampaignStatusIsAskedForWithTheWholeCommand) {
    const std::string cmds[] = {"statusCamp", "get statusCamp;x", "collectorsStatestatusCamp"};
    for (const std::string& cmd : cmds) {
        expectData(cmd + ";3", "xxx");
        expectLog({verbose("getCampStatus, cmd=" + cmd.substr(0, cmd.find(';')) + ", moduleId=3"),
                   verbose("getCampStatus, result=xxx")});
    }
    expectData("\0statusCamp;0"s, "");
    expectData("BUILDI;LUMTR_VERSIOstatusCamp;99999999999", "invalid module");
}

TEST_P(VendorData, CampaignStatusIsCutBeforeTheCharacterThatDoesNotFit) {
    for (const uint32_t width : {1U, 2U, 3U, 4U}) {
        const uint32_t kind = (width - 1) * kSecond;
        for (const uint32_t size : {2046U, 2047U, 2048U, 2049U, 2050U, 2051U, 100000U}) {
            const std::string whole = textOf(kCharacters[width - 1], size);
            size_t end = size;
            while (end > 2047) end -= width;
            expectData("statusCamp;" + std::to_string(kind + size), whole.substr(0, end));
        }
    }
    // The operator should not write a NUL; the size still tells what it wrote.
    expectReply("statusCamp;5000004", 0, "", 4);
    if (isRemote()) return;  // what is no text does not travel
    expectData("statusCamp;4002048", std::string(2047, '\x80'));
}

TEST_P(VendorData, CollectorsStateIsOfAnyLength) {
    expectData("get collectorsState;3", textOf(kCharacters[2], 100000));
    expectLog({verbose("getCollectorsState, param=get collectorsState;3"),
               debug("data_size=100000")});
}

TEST_P(VendorData, UnknownQueryIsLeftUnanswered) {
    for (const std::string& cmd :
         {""s, "BUILDI"s, "buildid"s, " BUILDID"s, "xLUMTR_VERSION"s, "StatusCamp;3"s,
          "status\0Camp;3"s, "collectorsStat"s, "startCamp"s, std::string(100000, 'x')}) {
        expectReply(cmd, isRemote() ? 0 : 17, isRemote() ? "" : "own", isRemote() ? 0 : 5);
    }
    expectLog({});
}

TEST_P(VendorData, StatisticsOfTheStatedLengthAreStored) {
    const std::string block("\0\0\0\3abc", 7);
    expectStatistics(block, 3, "abc");
    expectStatistics(block + "d", 3, "");
    expectStatistics(block.substr(0, 6), 3, "");
    expectStatistics("\0\0\0\1\0"s, 1, std::string(1, '\0'));
    expectStatistics("\0\1\0\0"s + std::string(65536, 'x'), 65536, std::string(65536, 'x'));
    expectStatistics("\0\0\0\0a"s, 0, "");
    expectStatistics("\1\2\3\4a"s, 0x01020304, "");
    expectSet("LUMNETSTATS and more", block, 0, {info("nwstats data length=3")});
    if (isRemote()) return;  // what is no text does not travel
    expectStatistics("\x80\1\1\1xyz", -2147417855, "");
    expectStatistics("\xff\xff\xff\xfcxyz", -4, "");
    expectStatistics("\0\0\0\xc8"s + std::string(200, '\xff'), 200, std::string(200, '\xff'));
}

TEST_P(VendorData, StatisticsWithoutAPayloadOrAPlaceAreRefused) {
    support::writeFile(kStatisticsFile, "before");
    for (const std::string& param : {""s, "\0\0\0\1"s}) {
        expectSet("LUMNETSTATS", param, -1, {error("[ERROR] Invalid data")});
    }
    EXPECT_EQ(support::readFile(kStatisticsFile), "before");
    support::removeAll(kStatisticsFolder);
    expectSet("LUMNETSTATS", "\0\0\0\3abc"s, -1, {error("[ERROR] Can't create nwstats.tmp")});
    EXPECT_FALSE(support::exists(kStatisticsFolder));
}

TEST_P(VendorData, StatisticsThatCannotBeWrittenAreStillAnsweredWithSuccess) {
    ASSERT_EQ(symlink("/dev/full", kStatisticsFile), 0);
    expectSet("LUMNETSTATS", "\0\0\0\3abc"s, 0, {info("nwstats data length=3")});
}

TEST_P(VendorData, CampaignCommandsGiveTheResultOfTheirOperation) {
    for (const std::string cmd : {"startCamp", "stopCamp"}) {
        const std::string call = "setCampOperation, cmd=" + cmd + ", param=";
        expectSet(cmd, "k;a", 0,
                  {verbose(call + "k;a"), verbose("setCampOperation, k, collectorList=a")});
        expectSet(cmd, "", -1, {verbose(call), error("[ERROR] param is empty")});
    }
    for (const std::string cmd : {"startModuleCamp", "stopModuleCamp", "cmdOptIn", "cmdOptout"}) {
        const std::string call = "setCampModuleOperation, cmd=" + cmd + ", param=";
        expectSet(cmd, "012", 0, {verbose(call + "012")});
        expectSet(cmd, "x", -1, {verbose(call + "x"), error("[ERROR] param is invalid")});
    }
}

TEST_P(VendorData, UnknownCommandIsLeftUnanswered) {
    for (const std::string& cmd :
         {""s, "LUMNETSTAT"s, " LUMNETSTATS"s, "startCamp "s, "StartCamp"s, "xstartCamp"s,
          "startCamp\0"s, "stopCampaign"s, "cmdOptOut"s, "statusCamp"s}) {
        expectSet(cmd, "1", isRemote() ? 0 : 17, {});
    }
    EXPECT_FALSE(support::exists(kStatisticsFile));
}
