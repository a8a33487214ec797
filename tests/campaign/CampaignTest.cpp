// Campaign commands and queries: what reaches the session operator, and what is refused.
#include <gtest/gtest.h>

#include <utility>

#include "ServiceUnderTest.h"

namespace {

using namespace std::string_literals;
using support::error;
using support::LogLines;
using support::verbose;
using Names = std::vector<std::string>;

// What the session operator was asked last, and what it answers.
uint32_t gOperation;
uint32_t gModule;
std::string gField;
Names gNames;
int gCalls;
const std::string kAnswer("a\0b\xff", 4);

void onCampaign(uint32_t operation, std::string field, Names names) {
    ++gCalls;
    gOperation = operation;
    gField = std::move(field);
    gNames = std::move(names);
}
void onModule(uint32_t operation, uint32_t module) {
    ++gCalls;
    gOperation = operation;
    gModule = module;
}
void onStatus(std::string& answer, uint32_t module) {
    ++gCalls;
    gModule = module;
    EXPECT_EQ(answer, "");
    answer = kAnswer;
}

class CampaignTest : public testing::Test {
  protected:
    CampaignTest() {
        mObject->init_session_operator(onCampaign, onModule, onStatus, nullptr);
        mLog.take();
        gCalls = 0;
    }
    // Whether the operator was asked once since the last time.
    static bool wasAsked() { return std::exchange(gCalls, 0) == 1; }

    static LogLines parsed(const std::string& cmd, const std::string& param,
                           const std::string& field, const std::string& list) {
        return {verbose("setCampOperation, cmd=" + cmd + ", param=" + param),
                verbose("setCampOperation, " + field + ", collectorList=" + list)};
    }
    static support::LogLine moduleCall(const std::string& cmd, const std::string& param) {
        return verbose("setCampModuleOperation, cmd=" + cmd + ", param=" + param);
    }
    static support::LogLine statusCall(const std::string& cmd, const std::string& module) {
        return verbose("getCampStatus, cmd=" + cmd + ", moduleId=" + module);
    }
    // As __android_log_print writes a text: no further than a NUL.
    static std::string logged(const std::string& text) { return text.substr(0, text.find('\0')); }

    std::shared_ptr<support::LumvndhalImpl> mObject =
            ndk::SharedRefBase::make<support::LumvndhalImpl>();
    support::LogCapture mLog;
};

const std::pair<std::string, uint32_t> kNumbers[] = {
        {"0", 0}, {"12", 12}, {std::string(500, '0') + "2147483647", 2147483647}};

const std::string kNoNumbers[] = {"-1", " 1", "1 ", "0x10", "\xb2", "1\0"s, "\0001"s,
                                  // Digits, but more than a number may have.
                                  "2147483648", "4294967299", "18446744073709551617",
                                  "00002147483648", std::string(800, '9')};

}  // namespace

TEST_F(CampaignTest, CommandHandsOverItsFirstFieldAndTheNamesOfItsLast) {
    const struct {
        std::string cmd, param, field, list;
        Names names;
        uint32_t operation;
    } cases[] = {
            {"startCamp", "k1;c1,c2", "k1", "c1,c2", {"c1", "c2"}, 1},
            {"stopCamp", "k1;c1,c2", "k1", "c1,c2", {"c1", "c2"}, 0},
            {"startCamp", "c1,c2", "c1,c2", "c1,c2", {"c1", "c2"}, 1},
            {"startCamp", "a;b;c", "a", "c", {"c"}, 1},
            {"stopCamp", "k1;", "k1", "", {""}, 0},
            {"stopCamp", ";,", "", ",", {"", ""}, 0},
            {"startCamp", " k\xff; c ", " k\xff", " c ", {" c "}, 1},
            {"startCamp", "c;k\0z"s, "c", "k\0z"s, {"k\0z"s}, 1},
            // Only other callers than the service use words inside others.
            {"xstartCampstopCamp", "k;c", "k", "c", {"c"}, 1},
            {"do stopCamp", "k;c", "k", "c", {"c"}, 0},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.cmd + ' ' + each.param);
        EXPECT_EQ(mObject->setCampOperation(each.cmd, each.param), 0);
        EXPECT_TRUE(wasAsked());
        EXPECT_EQ(gOperation, each.operation);
        EXPECT_EQ(gField, each.field);
        EXPECT_EQ(gNames, each.names);
        EXPECT_EQ(mLog.take(), parsed(each.cmd, logged(each.param), each.field, logged(each.list)));
    }
}

TEST_F(CampaignTest, CommandIsParsedBeforeItsWordIsLookedAt) {
    EXPECT_EQ(mObject->setCampOperation("StartCamp", "k;c"), 0);
    EXPECT_EQ(mLog.take(), parsed("StartCamp", "k;c", "k", "c"));
    EXPECT_EQ(mObject->setCampOperation("other", ""), -1);
    EXPECT_EQ(mLog.take(), (LogLines{verbose("setCampOperation, cmd=other, param="),
                                     error("[ERROR] param is empty")}));
    EXPECT_EQ(gCalls, 0);
}

TEST_F(CampaignTest, ModuleWordsSwitchOnOrOff) {
    const std::pair<std::string, uint32_t> words[] = {
            {"startModuleCamp", 1}, {"cmdOptIn", 1}, {"stopModuleCamp", 0}, {"cmdOptout", 0}};
    for (const auto& [cmd, operation] : words) {
        for (const auto& [digits, number] : kNumbers) {
            EXPECT_EQ(mObject->setCampModuleOperation(cmd, digits), 0);
            EXPECT_TRUE(wasAsked());
            EXPECT_EQ(gOperation, operation);
            EXPECT_EQ(gModule, number);
            EXPECT_EQ(mLog.take(), LogLines{moduleCall(cmd, digits)});
        }
    }
    for (const auto& cmd : {"cmdOptOut"s, "startModuleCamp "s, "xcmdOptIn"s, "cmdOptIn\0"s, ""s}) {
        EXPECT_EQ(mObject->setCampModuleOperation(cmd, "7"), 0);
        EXPECT_EQ(mLog.take(), LogLines{moduleCall(logged(cmd), "7")});
    }
    EXPECT_EQ(gCalls, 0);
}

TEST_F(CampaignTest, ModuleNumberThatIsNoneIsRefusedWhateverTheWord) {
    for (const std::string cmd : {"startModuleCamp", "other"}) {
        for (const std::string& param : kNoNumbers) {
            EXPECT_EQ(mObject->setCampModuleOperation(cmd, param), -1) << param;
            EXPECT_EQ(mLog.take(), (LogLines{moduleCall(cmd, logged(param)),
                                             error("[ERROR] param is invalid")}));
        }
        EXPECT_EQ(mObject->setCampModuleOperation(cmd, ""), -1);
        EXPECT_EQ(mLog.take(), (LogLines{moduleCall(cmd, ""), error("[ERROR] param is empty")}));
    }
    EXPECT_EQ(gCalls, 0);
}

TEST_F(CampaignTest, StatusQueryAsksForTheModuleInItsLastPiece) {
    for (const auto& [digits, number] : kNumbers) {
        EXPECT_EQ(mObject->getCampStatus("statusCamp;1;" + digits), kAnswer);
        EXPECT_TRUE(wasAsked()) << digits;
        EXPECT_EQ(gModule, number);
        EXPECT_EQ(mLog.take(),
                  (LogLines{statusCall("statusCamp", digits), verbose("getCampStatus, result=a")}));
    }
}

TEST_F(CampaignTest, StatusQueryWithoutAModuleNumberIsAnsweredWithoutTheOperator) {
    const auto expectRefusal = [this](const std::string& text, const support::LogLine& call) {
        EXPECT_EQ(mObject->getCampStatus(text), "invalid module") << text;
        EXPECT_EQ(mLog.take(), (LogLines{call, error("[ERROR] moduleStr is invalid"),
                                         verbose("getCampStatus, result=invalid module")}));
    };
    for (const std::string& module : kNoNumbers) {
        expectRefusal("5;" + module, statusCall("5", logged(module)));
    }
    expectRefusal("statusCamp", statusCall("statusCamp", "statusCamp"));
    expectRefusal("", statusCall("", ""));
    EXPECT_EQ(gCalls, 0);
}
