// Splitting a text and telling a number.
#include <gtest/gtest.h>

#include <chrono>

#include "ServiceUnderTest.h"

namespace {

using namespace std::string_literals;
using Pieces = std::vector<std::string>;

class TextHelpers : public testing::Test {
  protected:
    Pieces split(const std::string& text, const std::string& delimiter) {
        Pieces pieces;
        mObject->splitDelimiter(text, delimiter, pieces);
        return pieces;
    }

    std::shared_ptr<support::LumvndhalImpl> mObject =
            ndk::SharedRefBase::make<support::LumvndhalImpl>();
};

}  // namespace

TEST_F(TextHelpers, SplitKeepsEveryPiece) {
    EXPECT_EQ(split("a;b;;c", ";"), (Pieces{"a", "b", "", "c"}));
    EXPECT_EQ(split("", ";"), (Pieces{""}));
    EXPECT_EQ(split(";", ";"), (Pieces{"", ""}));
    EXPECT_EQ(split("a;", ";"), (Pieces{"a", ""}));
    EXPECT_EQ(split(" a, b ", ";"), (Pieces{" a, b "}));
    const std::string withNul("a\0;\xff", 4);
    EXPECT_EQ(split(withNul, ";"), (Pieces{withNul.substr(0, 2), "\xff"}));
}

TEST_F(TextHelpers, SplitMatchesTheWholeDelimiterWithoutOverlap) {
    EXPECT_EQ(split("a:::b", "::"), (Pieces{"a", ":b"}));
    EXPECT_EQ(split("::::", "::"), (Pieces{"", "", ""}));
    EXPECT_EQ(split("aXbxc", "x"), (Pieces{"aXb", "c"}));
    EXPECT_EQ(split("a", "aa"), (Pieces{"a"}));
    EXPECT_EQ(split("a;b", ""), (Pieces{"a;b"}));
    EXPECT_EQ(split("", ""), (Pieces{""}));
}

TEST_F(TextHelpers, SplitAppends) {
    Pieces pieces = {"x"};
    mObject->splitDelimiter("a;b", ";", pieces);
    mObject->splitDelimiter("c", ";", pieces);
    EXPECT_EQ(pieces, (Pieces{"x", "a", "b", "c"}));
}

TEST_F(TextHelpers, SplitTakesTimeByTheByte) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(split(std::string(1000000, ';'), ";").size(), 1000001U);
    EXPECT_EQ(split(std::string(1000000, 'x'), ";").size(), 1U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST_F(TextHelpers, NumberIsDigitsOnlyOfAnyCount) {
    for (const auto& text : {""s, "0"s, "007"s, "0123456789"s, std::string(1000000, '9')}) {
        EXPECT_TRUE(mObject->isNumber(text)) << text.substr(0, 20);
    }
    for (const auto& text : {"-1"s, "+1"s, " 1"s, "1 "s, "12a"s, "1.5"s, "/"s, ":"s, "1\0"s,
                             "\0001"s, "\x80"s, "\xb2"s, "\xff"s, "\xd9\xa3"s, "1\n"s}) {
        EXPECT_FALSE(mObject->isNumber(text)) << text;
    }
}
