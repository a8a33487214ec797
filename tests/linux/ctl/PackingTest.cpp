// The parameter texts that lumctl packs, and what it makes of the answers.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Collectors.h"
#include "Dropbox.h"
#include "Failing.h"
#include "Packing.h"
#include "Text.h"

namespace {

using lumctl::packCampaign;
using lumctl::packModuleQuery;
using lumctl::packStatistics;
using Strings = std::vector<std::string>;

std::string bytes(std::initializer_list<unsigned> values) {
    std::string text;
    for (const unsigned value : values) text += static_cast<char>(value);
    return text;
}

}  // namespace

TEST(Statistics, AreALengthOfFourBytesAndThePayload) {
    EXPECT_EQ(packStatistics(std::string(1, '\0')), bytes({0, 0, 0, 1, 0}));
    EXPECT_EQ(packStatistics("\u20ac"), bytes({0, 0, 0, 3, 0xe2, 0x82, 0xac}));
    const std::string longer(0x10203, 'x');
    EXPECT_EQ(packStatistics(longer), bytes({0, 1, 2, 3}) + longer);
    // Bytes that form a character: two of the length; the last of it and the first of the payload.
    const std::string whole(0xc280, 'x');
    EXPECT_EQ(packStatistics(whole), bytes({0, 0, 0xc2, 0x80}) + whole);
    const std::string shared = bytes({0x80}) + std::string(0xc8 - 1, 'x');
    EXPECT_EQ(packStatistics(shared), bytes({0, 0, 0, 0xc8}) + shared);
}

TEST(Statistics, ThatAreNoTextOrTooManyAreRefusedWithTheReason) {
    const std::vector<std::pair<std::string, const char*>> refused = {
            {std::string(128, 'x'), "pad it to 256 bytes or cut it to 127 bytes"},
            {std::string(0x8000, 'x'), "pad it to 49792 bytes or cut it to 32639 bytes"},
            // The next one up would not fit into a call.
            {std::string(0x7e000, 'x'), "cut it to 516031 bytes"},
            {std::string(0x7f7f7, 'x'), "does not fit into a call"},
            {"ab\xed\xa0\x80", "byte 2 (0xed)"},
            {"", "empty"}};
    for (const auto& [payload, reason] : refused) {
        EXPECT_TRUE(fails(lumctl::kUsage, reason, [&text = payload] { packStatistics(text); }))
                << reason;
    }
}

TEST(Parameters, OnlyHoldWhatIsReadAsItIsMeant) {
    EXPECT_EQ(packCampaign("k,1", {"c1", "c2"}), "k,1;c1,c2");
    EXPECT_EQ(packModuleQuery("007"), "statusCamp;007");
    EXPECT_NO_THROW(lumctl::requirePath("/"));
    EXPECT_NO_THROW(lumctl::requirePath("/a/../b")) << "the service says what it refuses";
    EXPECT_EQ(packCampaign("k", {}), "k;") << "all of them";
    using Refused = std::pair<const char*, std::function<void()>>;
    const std::vector<Refused> refused = {{"';'", [] { packCampaign("k;1", {"c"}); }},
                                          {"','", [] { packCampaign("k", {"c", "c,1"}); }},
                                          {"';'", [] { packCampaign("k", {"c;1"}); }},
                                          {"empty", [] { packCampaign("", {"c"}); }},
                                          {"empty", [] { packCampaign("k", {""}); }},
                                          {"UTF-8", [] { packCampaign("k\xff", {"c"}); }},
                                          {"';'", [] { packModuleQuery("1;2"); }},
                                          {"'/ab'", [] { lumctl::requirePath("ab"); }},
                                          {"slash", [] { lumctl::requirePath(""); }},
                                          {"UTF-8", [] { lumctl::requirePath("/\xff"); }}};
    for (const auto& [reason, call] : refused) EXPECT_TRUE(fails(lumctl::kUsage, reason, call));
}

TEST(Paths, AreMadeFromTheOutsideAndTheWholeDropboxIsKnown) {
    EXPECT_EQ(lumctl::withParents("/a/./b//c/"), (Strings{"/a", "/a/b", "/a/b/c"}));
    EXPECT_EQ(lumctl::withParents("/"), (Strings{"/"}));
    EXPECT_EQ(lumctl::withParents("/a/../b"), (Strings{"/a/../b"})) << "nothing on the way";
    for (const char* path : {"/", "//", "/././/"}) EXPECT_TRUE(lumctl::isWholeDropbox(path));
    for (const char* path : {"/./a", "/.a", "/..."}) EXPECT_FALSE(lumctl::isWholeDropbox(path));
}

TEST(Collectors, AreATableOfWhateverTheEngineTells) {
    const lumctl::Report report = lumctl::collectorsReport(
            R"({"campaigns":[{"key":"k1","collectors":["c1","c2"]},{"key":2}],)"
            R"("modules":[{"id":3,"on":true},{"id":"m4","on":false},{"on":"maybe"},5],"more":{}})");
    EXPECT_EQ(report.text,
              "CAMPAIGN  COLLECTORS\nk1        c1, c2\n2         -\n\n"
              "MODULE  STATE\n3       on\nm4      off\n-       maybe\n-       -\n");
    for (const char* state : {"", "idle", "[1,2]", "{\"campaigns\":", "{\"campaigns\":3}"}) {
        EXPECT_EQ(lumctl::collectorsReport(state).text, std::string(state) + "\n") << "no table";
    }
    EXPECT_EQ(lumctl::collectorsReport("idle").json.dump(), R"({"text":"idle"})");
}
