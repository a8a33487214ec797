// The parameter texts that lumctl packs, and what it makes of the answers.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Collectors.h"
#include "Dropbox.h"
#include "Failure.h"
#include "Packing.h"
#include "Text.h"
#include "Words.h"

namespace {

using lumctl::packCampaign;
using lumctl::packModuleQuery;
using lumctl::packStatistics;
using Strings = std::vector<std::string>;

template <class Call>
std::string failureOf(lumctl::ExitStatus status, Call call) {
    try {
        call();
        return "no failure";
    } catch (const lumctl::Failure& failure) {
        EXPECT_EQ(failure.status(), status);
        return failure.what();
    }
}

std::string refusal(const std::string& payload) {
    return failureOf(lumctl::kUsage, [&] { packStatistics(payload); });
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string bytes(std::initializer_list<unsigned> values) {
    std::string text;
    for (const unsigned value : values) text += static_cast<char>(value);
    return text;
}

lumctl::Answer answer(int32_t result, int32_t size, const std::string& text) {
    lumctl::Answer made;
    made.result = result;
    made.data.data_size = size;
    made.data.data = text;
    return made;
}

}  // namespace

TEST(Statistics, AreALengthOfFourBytesAndThePayload) {
    EXPECT_EQ(packStatistics("abc"), bytes({0, 0, 0, 3, 'a', 'b', 'c'}));
    EXPECT_EQ(packStatistics(std::string(1, '\0')), bytes({0, 0, 0, 1, 0}));
    EXPECT_EQ(packStatistics("\u20ac"), bytes({0, 0, 0, 3, 0xe2, 0x82, 0xac}));
    const std::string longer(0x10203, 'x');
    EXPECT_EQ(packStatistics(longer), bytes({0, 1, 2, 3}) + longer);
}

TEST(Statistics, OfALengthThatIsNoTextAreRefusedWithTheNearestThatAre) {
    EXPECT_EQ(packStatistics(std::string(127, 'x')).size(), 131U);
    EXPECT_EQ(packStatistics(std::string(256, 'x')).size(), 260U);
    EXPECT_TRUE(
            contains(refusal(std::string(128, 'x')), "pad it to 256 bytes or cut it to 127 bytes"));
    EXPECT_TRUE(contains(refusal(std::string(0x8000, 'x')),
                         "pad it to 49792 bytes or cut it to 32639 bytes"));
    EXPECT_TRUE(contains(refusal(std::string(0x7e000, 'x')), "cut it to 516031 bytes"))
            << "the next one up would not fit into a call";
}

TEST(Statistics, MayHaveALengthFieldWithBytesThatFormACharacter) {
    const std::string payload(0xc280, 'x');
    EXPECT_EQ(packStatistics(payload), bytes({0, 0, 0xc2, 0x80}) + payload);
    // The last length byte and the first of the payload.
    const std::string shared = bytes({0x80}) + std::string(0xc8 - 1, 'x');
    EXPECT_EQ(packStatistics(shared), bytes({0, 0, 0, 0xc8}) + shared);
}

TEST(Statistics, ThatAreNoTextOrTooManyAreRefusedWithTheReason) {
    EXPECT_TRUE(contains(refusal("ab\xff"), "byte 2 (0xff)"));
    EXPECT_TRUE(contains(refusal("ab\xed\xa0\x80"), "byte 2 (0xed)"));
    EXPECT_TRUE(contains(refusal(""), "empty"));
    EXPECT_TRUE(contains(refusal(std::string(0x7f7f7, 'x')), "does not fit into a call"));
    EXPECT_EQ(packStatistics(std::string(0x77000, 'x')).size(), 0x77004U);
}

TEST(Campaigns, ArePackedAsKeyAndCollectors) {
    EXPECT_EQ(packCampaign("k1", {"c1", "c2"}), "k1;c1,c2");
    EXPECT_EQ(packCampaign("k,1", {"c"}), "k,1;c");
    EXPECT_EQ(packModuleQuery("007"), "statusCamp;007");
}

TEST(Campaigns, WithNamesThatWouldBeReadAsOthersAreRefused) {
    const auto refused = [](const std::string& key, const Strings& collectors) {
        return failureOf(lumctl::kUsage, [&] { packCampaign(key, collectors); });
    };
    EXPECT_TRUE(contains(refused("k;1", {"c"}), "';'"));
    EXPECT_TRUE(contains(refused("k", {"c", "c,1"}), "','"));
    EXPECT_TRUE(contains(refused("k", {"c;1"}), "';'"));
    EXPECT_TRUE(contains(refused("", {"c"}), "empty"));
    EXPECT_TRUE(contains(refused("k", {""}), "empty"));
    EXPECT_TRUE(contains(refused("k\xff", {"c"}), "UTF-8"));
    EXPECT_TRUE(contains(failureOf(lumctl::kUsage, [] { packModuleQuery("1;2"); }), "';'"));
}

TEST(Paths, BeginWithASlashAndAreTexts) {
    EXPECT_NO_THROW(lumctl::requirePath("/"));
    EXPECT_NO_THROW(lumctl::requirePath("/a/../b")) << "the service says what it refuses";
    EXPECT_TRUE(contains(failureOf(lumctl::kUsage, [] { lumctl::requirePath("ab"); }), "'/ab'"));
    EXPECT_TRUE(contains(failureOf(lumctl::kUsage, [] { lumctl::requirePath(""); }), "slash"));
    EXPECT_TRUE(contains(failureOf(lumctl::kUsage, [] { lumctl::requirePath("/\xff"); }), "UTF-8"));
}

TEST(Paths, AreMadeFromTheOutside) {
    EXPECT_EQ(lumctl::withParents("/a/b//c/"), (Strings{"/a", "/a/b", "/a/b/c"}));
    EXPECT_EQ(lumctl::withParents("/./a"), (Strings{"/a"}));
    EXPECT_EQ(lumctl::withParents("/"), (Strings{"/"}));
    EXPECT_EQ(lumctl::withParents("/a/../b"), (Strings{"/a/../b"})) << "nothing on the way";
}

TEST(Paths, ThatAreTheWholeDropboxAreKnown) {
    for (const char* path : {"/", "//", "/.", "/././/"}) {
        EXPECT_TRUE(lumctl::isWholeDropbox(path)) << path;
    }
    for (const char* path : {"/a", "/./a", "/.a", "/..."}) {
        EXPECT_FALSE(lumctl::isWholeDropbox(path)) << path;
    }
}

TEST(Words, AreKnownAsTheServiceKnowsThem) {
    for (const char* word : {"BUILDID", "BUILDIDxyz", "LUMTR_VERSION", "CHIPSET_SERIAL1",
                             "statusCamp", "get statusCamp;3", "x collectorsState y"}) {
        EXPECT_TRUE(lumctl::isKnownQuery(word)) << word;
    }
    for (const char* word : {"", "BUILDI", " BUILDID", "buildid", "statusCam", "LUMNETSTATS"}) {
        EXPECT_FALSE(lumctl::isKnownQuery(word)) << word;
    }
    for (const char* word : {"LUMNETSTATS", "LUMNETSTATS2", "startCamp", "cmdOptIn", "cmdOptout"}) {
        EXPECT_TRUE(lumctl::isKnownCommand(word)) << word;
    }
    for (const char* word : {"", "startCamp ", "StartCamp", "cmdOptOut", "xLUMNETSTATS"}) {
        EXPECT_FALSE(lumctl::isKnownCommand(word)) << word;
    }
}

TEST(Words, WithAnAnswerThatStandsForAFailureFail) {
    const auto failure = [](const std::string& word, const lumctl::Answer& got) {
        return failureOf(lumctl::kRefused, [&] { lumctl::textOf(word, got); });
    };
    EXPECT_TRUE(contains(failure("BUILDID", answer(0, -1, "")), "ver_info.txt"));
    EXPECT_TRUE(contains(failure("statusCamp;x", answer(0, 14, "invalid module")), "digits"));
    EXPECT_TRUE(contains(failure("other", answer(-1, 0, "")), "-1"));
    EXPECT_EQ(lumctl::textOf("BUILDID", answer(0, 3, "A|B")), "A|B");
    EXPECT_EQ(lumctl::textOf("BUILDIDstatusCamp", answer(0, 14, "invalid module")),
              "invalid module");
    EXPECT_EQ(lumctl::textOf("statusCamp;3", answer(0, 0, "")), "");
}

TEST(Collectors, AreATableOfWhateverTheEngineTells) {
    const lumctl::Report report = lumctl::collectorsReport(
            R"({"campaigns":[{"key":"k1","collectors":["c1","c2"],"since":7},{"key":2}],)"
            R"("modules":[{"id":3,"on":true},{"id":"m4","on":false},{"on":"maybe"},5],"more":{}})");
    EXPECT_EQ(report.text,
              "CAMPAIGN  COLLECTORS\n"
              "k1        c1, c2\n"
              "2         -\n"
              "\n"
              "MODULE  STATE\n"
              "3       on\n"
              "m4      off\n"
              "-       maybe\n"
              "-       -\n");
    EXPECT_EQ(report.json["campaigns"][0]["since"], 7);
    EXPECT_EQ(lumctl::collectorsReport(R"({"campaigns":[],"modules":[]})").text,
              "No campaign is running.\n\nNo module is on.\n");
}

TEST(Collectors, AreShownAsTheyCameWhenTheyAreNoTable) {
    for (const char* state :
         {"", "idle", "[1,2]", "{\"campaigns\":", "{\"campaigns\":3}", "null"}) {
        EXPECT_EQ(lumctl::collectorsReport(state).text, std::string(state) + "\n");
    }
    EXPECT_EQ(lumctl::collectorsReport("idle").json.dump(), R"({"text":"idle"})");
}

TEST(Tables, AreAlignedByCharactersAndKeepToTheirLines) {
    EXPECT_EQ(lumctl::table({{"a", "b"}, {"\u00e4\u00f6\u00fc", "c"}, {"x"}}),
              "a    b\n\u00e4\u00f6\u00fc  c\nx\n");
    EXPECT_EQ(lumctl::printable("a\nb\x1b[2J\x7f\u00e4"), "a\\nb\\x1b[2J\\x7f\u00e4");
    EXPECT_EQ(lumctl::byteCount(0), "0 B");
    EXPECT_EQ(lumctl::byteCount(1024.0 * 1024 * 64), "64.0 MiB");
    EXPECT_EQ(lumctl::byteCount(1024.0 * 1024 * 1024 * 2048), "2048.0 GiB");
}
