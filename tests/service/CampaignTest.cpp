// Campaign commands and queries: what reaches the session operator, and what is refused.
#include <gtest/gtest.h>

#include <chrono>

#include "ServiceUnderTest.h"

namespace {

using namespace std::string_literals;
using support::error;
using support::LogLines;
using support::verbose;
using Names = std::vector<std::string>;

// What the session operator was asked since the last test began, and what it answers.
struct Campaign {
    uint32_t operation;
    std::string field;
    Names names;
};
std::vector<Campaign> gCampaigns;
std::vector<std::pair<uint32_t, uint32_t>> gModules;
std::vector<uint32_t> gQueries;
std::string gAnswer;

void onCampaign(uint32_t operation, std::string field, Names names) {
    gCampaigns.push_back({operation, std::move(field), std::move(names)});
}
void onModule(uint32_t operation, uint32_t module) {
    gModules.emplace_back(operation, module);
}
void onStatus(std::string& answer, uint32_t module) {
    EXPECT_EQ(answer, "");
    gQueries.push_back(module);
    answer = gAnswer;
}
void onState(std::string& answer) {
    EXPECT_EQ(answer, "");
    answer = gAnswer;
}

class CampaignTest : public testing::Test {
  protected:
    CampaignTest() {
        mObject->init_session_operator(onCampaign, onModule, onStatus, onState);
        mLog.take();
        gCampaigns.clear();
        gModules.clear();
        gQueries.clear();
        gAnswer.clear();
    }

    // One campaign command that gets through to the operator.
    void expectCampaign(const std::string& cmd, const std::string& param, const Campaign& expected,
                        const std::string& list) {
        SCOPED_TRACE(cmd + ' ' + param);
        gCampaigns.clear();
        EXPECT_EQ(mObject->setCampOperation(cmd, param), 0);
        ASSERT_EQ(gCampaigns.size(), 1U);
        EXPECT_EQ(gCampaigns[0].operation, expected.operation);
        EXPECT_EQ(gCampaigns[0].field, expected.field);
        EXPECT_EQ(gCampaigns[0].names, expected.names);
        EXPECT_EQ(mLog.take(), parsed(cmd, param, expected.field, list));
    }
    static LogLines parsed(const std::string& cmd, const std::string& param,
                           const std::string& field, const std::string& list) {
        return {verbose("setCampOperation, cmd=" + cmd + ", param=" + param),
                verbose("setCampOperation, " + field + ", collectorList=" + list)};
    }
    static support::LogLine moduleCall(const std::string& cmd, const std::string& param) {
        return verbose("setCampModuleOperation, cmd=" + cmd + ", param=" + param);
    }
    // As __android_log_print writes a text: no further than a NUL.
    static std::string logged(const std::string& text) { return text.substr(0, text.find('\0')); }

    std::shared_ptr<support::LumvndhalImpl> mObject =
            ndk::SharedRefBase::make<support::LumvndhalImpl>();
    support::LogCapture mLog;
};

// Numbers and what they stand for.
const struct {
    std::string digits;
    uint32_t number;
} kNumbers[] = {{"0", 0},
                {"12", 12},
                {"012", 12},
                {"2147483647", 2147483647},
                {std::string(500, '0') + "2147483647", 2147483647},
                {std::string(500, '0'), 0}};

const std::string kNoNumbers[] = {"-1", "+5", "1.5", "12a", " 1", "1 ", "0x10", "abc", "1,2",
                                  "\xb2", "\xd9\xa3", "1\0"s, "\0001"s,
                                  // Digits, but more than a number may have.
                                  "2147483648", "4294967295", "4294967296", "4294967299",
                                  "9223372036854775808", "18446744073709551617", "00002147483648",
                                  std::string(800, '9')};

}  // namespace

TEST_F(CampaignTest, CommandHandsOverItsFirstFieldAndTheNamesOfItsLast) {
    expectCampaign("startCamp", "k1;c1,c2", {1, "k1", {"c1", "c2"}}, "c1,c2");
    expectCampaign("stopCamp", "k1;c1,c2", {0, "k1", {"c1", "c2"}}, "c1,c2");
    expectCampaign("startCamp", "c1", {1, "c1", {"c1"}}, "c1");
    expectCampaign("startCamp", "c1,c2", {1, "c1,c2", {"c1", "c2"}}, "c1,c2");
    expectCampaign("startCamp", "a;b;c", {1, "a", {"c"}}, "c");
    expectCampaign("startCamp", "k1;c1,,c2", {1, "k1", {"c1", "", "c2"}}, "c1,,c2");
    expectCampaign("stopCamp", "k1;", {0, "k1", {""}}, "");
    expectCampaign("stopCamp", ";", {0, "", {""}}, "");
    expectCampaign("stopCamp", ";,", {0, "", {"", ""}}, ",");
    expectCampaign("startCamp", " k ; c ", {1, " k ", {" c "}}, " c ");
    // Only other callers than the service use words inside others.
    expectCampaign("xstartCampstopCamp", "k;c", {1, "k", {"c"}}, "c");
    expectCampaign("do stopCamp", "k;c", {0, "k", {"c"}}, "c");
}

TEST_F(CampaignTest, CommandKeepsBytesThatTheLogCannotShow) {
    const std::string field("k\0\xff", 3);
    EXPECT_EQ(mObject->setCampOperation("startCamp", field + ";c"), 0);
    ASSERT_EQ(gCampaigns.size(), 1U);
    EXPECT_EQ(gCampaigns[0].field, field);
    EXPECT_EQ(mLog.take(), parsed("startCamp", "k", "k", "c"));
}

TEST_F(CampaignTest, CommandIsParsedBeforeItsWordIsLookedAt) {
    EXPECT_EQ(mObject->setCampOperation("StartCamp", "k;c"), 0);
    EXPECT_EQ(mLog.take(), parsed("StartCamp", "k;c", "k", "c"));
    for (const char* cmd : {"startCamp", "stopCamp", "other"}) {
        EXPECT_EQ(mObject->setCampOperation(cmd, ""), -1);
        EXPECT_EQ(mLog.take(), (LogLines{verbose("setCampOperation, cmd="s + cmd + ", param="),
                                         error("[ERROR] param is empty")}));
    }
    EXPECT_TRUE(gCampaigns.empty());
}

TEST_F(CampaignTest, CommandOfAMegabyteIsHandedOverWhole) {
    const auto start = std::chrono::steady_clock::now();
    const std::string million(1000000, ',');
    EXPECT_EQ(mObject->setCampOperation("startCamp", "k;" + million), 0);
    EXPECT_EQ(mObject->setCampOperation("startCamp", std::string(1000000, ';') + "c"), 0);
    EXPECT_EQ(mObject->setCampOperation("stopCamp", million), 0);
    ASSERT_EQ(gCampaigns.size(), 3U);
    EXPECT_EQ(gCampaigns[0].names.size(), 1000001U);
    EXPECT_EQ(gCampaigns[1].names, Names{"c"});
    EXPECT_EQ(gCampaigns[2].field, million);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST_F(CampaignTest, ModuleWordsSwitchOnOrOff) {
    const std::pair<std::string, uint32_t> words[] = {
            {"startModuleCamp", 1}, {"cmdOptIn", 1}, {"stopModuleCamp", 0}, {"cmdOptout", 0}};
    for (const auto& [cmd, operation] : words) {
        for (const auto& [digits, number] : kNumbers) {
            gModules.clear();
            EXPECT_EQ(mObject->setCampModuleOperation(cmd, digits), 0);
            EXPECT_EQ(gModules, (decltype(gModules){{operation, number}}));
            EXPECT_EQ(mLog.take(), LogLines{moduleCall(cmd, digits)});
        }
    }
    gModules.clear();
    for (const char* cmd : {"cmdOptOut", "startModuleCamp ", "xcmdOptIn", "startCamp", ""}) {
        EXPECT_EQ(mObject->setCampModuleOperation(cmd, "7"), 0);
        EXPECT_EQ(mLog.take(), LogLines{moduleCall(cmd, "7")});
    }
    EXPECT_EQ(mObject->setCampModuleOperation("cmdOptIn\0"s, "7"), 0);
    EXPECT_TRUE(gModules.empty());
}

TEST_F(CampaignTest, ModuleNumberThatIsNoneIsRefusedWhateverTheWord) {
    for (const std::string cmd : {"startModuleCamp", "stopModuleCamp", "other"}) {
        for (const std::string& param : kNoNumbers) {
            EXPECT_EQ(mObject->setCampModuleOperation(cmd, param), -1) << param;
            EXPECT_EQ(mLog.take(), (LogLines{moduleCall(cmd, logged(param)),
                                             error("[ERROR] param is invalid")}));
        }
        EXPECT_EQ(mObject->setCampModuleOperation(cmd, ""), -1);
        EXPECT_EQ(mLog.take(), (LogLines{moduleCall(cmd, ""), error("[ERROR] param is empty")}));
    }
    EXPECT_TRUE(gModules.empty());
}

TEST_F(CampaignTest, StatusQueryAsksForTheModuleInItsLastPiece) {
    const auto expectQuery = [this](const std::string& text, const std::string& cmd,
                                    const std::string& digits, uint32_t number) {
        gQueries.clear();
        EXPECT_EQ(mObject->getCampStatus(text), gAnswer);
        EXPECT_EQ(gQueries, std::vector<uint32_t>{number}) << text;
        EXPECT_EQ(mLog.take(),
                  (LogLines{verbose("getCampStatus, cmd=" + cmd + ", moduleId=" + digits),
                            verbose("getCampStatus, result=" + logged(gAnswer))}));
    };
    for (const auto& [digits, number] : kNumbers) {
        gAnswer = "on since " + digits;
        expectQuery("statusCamp;" + digits, "statusCamp", digits, number);
    }
    gAnswer = "a\0b\xff"s;
    expectQuery("statusCamp;1;2", "statusCamp", "2", 2);
    expectQuery(";;3", "", "3", 3);
    gAnswer = "";
    expectQuery("42", "42", "42", 42);
}

TEST_F(CampaignTest, StatusQueryWithoutAModuleNumberIsAnsweredWithoutTheOperator) {
    const auto expectRefusal = [this](const std::string& text, const std::string& cmd,
                                      const std::string& module) {
        EXPECT_EQ(mObject->getCampStatus(text), "invalid module") << text;
        EXPECT_EQ(mLog.take(),
                  (LogLines{verbose("getCampStatus, cmd=" + cmd + ", moduleId=" + module),
                            error("[ERROR] moduleStr is invalid"),
                            verbose("getCampStatus, result=invalid module")}));
    };
    for (const std::string& module : kNoNumbers) {
        expectRefusal("statusCamp;" + module, "statusCamp", logged(module));
    }
    expectRefusal("statusCamp", "statusCamp", "statusCamp");
    expectRefusal("statusCamp;", "statusCamp", "");
    expectRefusal("5;statusCamp", "5", "statusCamp");
    expectRefusal("", "", "");
    EXPECT_TRUE(gQueries.empty());
}

TEST_F(CampaignTest, StateQueryReturnsExactlyWhatTheOperatorWrote) {
    for (const std::string& answer : {""s, "state"s, "a\0b\xff"s, std::string(100000, 'x')}) {
        gAnswer = answer;
        EXPECT_EQ(mObject->getCollectorsState("any;thing"), answer);
        EXPECT_EQ(mLog.take(), LogLines{verbose("getCollectorsState, param=any;thing")});
    }
}
