// Campaign commands of callers in the process, who may use any words. What the service makes of its
// clients' words is the corpus of fuzz/TextFuzz.cpp.
#include <gtest/gtest.h>

#include <utility>

#include "ServiceUnderTest.h"

namespace {

using support::error;
using support::LogLines;
using support::verbose;

std::string gAsked;  // of the session operator since the last look

TEST(Campaign, CommandHandsOverItsFirstFieldAndTheNamesOfItsLast) {
    const auto object = ndk::SharedRefBase::make<support::LumvndhalImpl>();
    const auto note = [](uint32_t operation, std::string field, std::vector<std::string> names) {
        gAsked = std::to_string(operation) + ' ' + field;
        for (const auto& name : names) gAsked += '<' + name + '>';
    };
    object->init_session_operator(note, nullptr, nullptr, nullptr);
    support::LogCapture log;
    const struct {
        std::string cmd, param, asked, parsed;
    } cases[] = {
            {"stopCamp", "a;b;c,d", "0 a<c><d>", "a, collectorList=c,d"},
            {"startCamp", " k\xff; c ", "1  k\xff< c >", " k\xff, collectorList= c "},
            // Only other callers than the service use words inside others, or none.
            {"xstartCampstopCamp", "k", "1 k<k>", "k, collectorList=k"},
            {"do stopCamp", ";,", "0 <><>", ", collectorList=,"},
            {"StartCamp", "k", "", "k, collectorList=k"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(object->setCampOperation(each.cmd, each.param), 0) << each.cmd << each.param;
        EXPECT_EQ(std::exchange(gAsked, ""), each.asked);
        EXPECT_EQ(log.take(),
                  (LogLines{verbose("setCampOperation, cmd=" + each.cmd + ", param=" + each.param),
                            verbose("setCampOperation, " + each.parsed)}));
    }
    EXPECT_EQ(object->setCampOperation("other", ""), -1);
    EXPECT_EQ(log.take(), (LogLines{verbose("setCampOperation, cmd=other, param="),
                                    error("[ERROR] param is empty")}));
    EXPECT_EQ(object->setCampModuleOperation("cmdOptOut", "12"), 0);  // nobody is asked
}

}  // namespace
