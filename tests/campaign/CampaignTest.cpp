// Campaign commands and queries: what reaches the session operator, and what is refused.
#include <gtest/gtest.h>

#include <utility>

#include "ServiceUnderTest.h"

namespace {

using namespace std::string_literals;
using support::error;
using support::LogLines;
using support::verbose;

// What the session operator was asked since the last look.
std::string gAsked;

class CampaignTest : public testing::Test {
  protected:
    CampaignTest() {
        mObject->init_session_operator(
                [](uint32_t operation, std::string field, std::vector<std::string> names) {
                    gAsked += std::to_string(operation) + ' ' + field;
                    for (const auto& name : names) gAsked += '<' + name + '>';
                },
                [](uint32_t operation, uint32_t module) {
                    gAsked += std::to_string(operation) + ' ' + std::to_string(module);
                },
                [](std::string& answer, uint32_t module) {
                    EXPECT_EQ(answer, "");
                    answer = "a\0b\xff"s;
                    gAsked += std::to_string(module);
                },
                nullptr);
        mLog.take();
    }
    // The operator was asked this since the last time, and these lines were logged.
    void expect(const std::string& asked, const LogLines& lines) {
        EXPECT_EQ(std::exchange(gAsked, ""), asked);
        EXPECT_EQ(mLog.take(), lines);
    }

    std::shared_ptr<support::LumvndhalImpl> mObject =
            ndk::SharedRefBase::make<support::LumvndhalImpl>();
    support::LogCapture mLog;
};

const std::string kNoNumbers[] = {"-1", " 1", "0x10", "2147483648", "4294967299", "00000000x"};

}  // namespace

TEST_F(CampaignTest, CommandHandsOverItsFirstFieldAndTheNamesOfItsLast) {
    const struct {
        std::string cmd, param, asked, parsed;
    } cases[] = {
            {"startCamp", "k1;c1,c2", "1 k1<c1><c2>", "k1, collectorList=c1,c2"},
            {"stopCamp", "a;b;c", "0 a<c>", "a, collectorList=c"},
            {"stopCamp", ";,", "0 <><>", ", collectorList=,"},
            {"startCamp", " k\xff; c ", "1  k\xff< c >", " k\xff, collectorList= c "},
            // Only other callers than the service use words inside others, or none.
            {"xstartCampstopCamp", "k", "1 k<k>", "k, collectorList=k"},
            {"do stopCamp", "k", "0 k<k>", "k, collectorList=k"},
            {"StartCamp", "k", "", "k, collectorList=k"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(mObject->setCampOperation(each.cmd, each.param), 0) << each.cmd << each.param;
        expect(each.asked, {verbose("setCampOperation, cmd=" + each.cmd + ", param=" + each.param),
                            verbose("setCampOperation, " + each.parsed)});
    }
    EXPECT_EQ(mObject->setCampOperation("other", ""), -1);
    expect("", {verbose("setCampOperation, cmd=other, param="), error("[ERROR] param is empty")});
}

TEST_F(CampaignTest, ModuleWordsSwitchOnOrOffWhatIsANumber) {
    const std::pair<std::string, std::string> words[] = {
            {"startModuleCamp", "1 12"}, {"cmdOptIn", "1 12"}, {"stopModuleCamp", "0 12"},
            {"cmdOptout", "0 12"},       {"xcmdOptIn", ""},    {"cmdOptOut", ""}};
    for (const auto& [cmd, asked] : words) {
        const std::string call = "setCampModuleOperation, cmd=" + cmd + ", param=";
        EXPECT_EQ(mObject->setCampModuleOperation(cmd, "012"), 0);
        expect(asked, {verbose(call + "012")});
        for (const std::string& param : kNoNumbers) {
            EXPECT_EQ(mObject->setCampModuleOperation(cmd, param), -1) << param;
            expect("", {verbose(call + param.c_str()), error("[ERROR] param is invalid")});
        }
        EXPECT_EQ(mObject->setCampModuleOperation(cmd, ""), -1);
        expect("", {verbose(call), error("[ERROR] param is empty")});
    }
}

TEST_F(CampaignTest, StatusQueryAsksForTheModuleInItsLastPiece) {
    for (const std::string module : {"0", "2147483647"}) {
        EXPECT_EQ(mObject->getCampStatus("statusCamp;1;000" + module), "a\0b\xff"s);
        expect(module, {verbose("getCampStatus, cmd=statusCamp, moduleId=000" + module),
                        verbose("getCampStatus, result=a")});
    }
    EXPECT_EQ(mObject->getCampStatus("5;-1"), "invalid module");
    expect("", {verbose("getCampStatus, cmd=5, moduleId=-1"), error("[ERROR] moduleStr is invalid"),
                verbose("getCampStatus, result=invalid module")});
}
