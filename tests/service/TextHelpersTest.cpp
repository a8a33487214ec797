// Splitting a text and telling a number.
#include <gtest/gtest.h>

#include "ServiceUnderTest.h"

namespace {

using namespace std::string_literals;
using Pieces = std::vector<std::string>;

class TextHelpers : public testing::Test {
  protected:
    std::shared_ptr<support::LumvndhalImpl> mObject =
            ndk::SharedRefBase::make<support::LumvndhalImpl>();
};

}  // namespace

TEST_F(TextHelpers, SplitKeepsEveryPieceBetweenWholeDelimiters) {
    const struct {
        std::string text, delimiter;
        Pieces pieces;
    } cases[] = {
            {"a;b;;c", ";", {"a", "b", "", "c"}},
            {"", ";", {""}},
            {";", ";", {"", ""}},
            {"a;", ";", {"a", ""}},
            {" a, b ", ";", {" a, b "}},
            {"a\0;\xff"s, ";", {"a\0"s, "\xff"}},
            {"a:::b", "::", {"a", ":b"}},
            {"::::", "::", {"", "", ""}},
            {"aXbxc", "x", {"aXb", "c"}},
            {"a", "aa", {"a"}},
            {"a;b", "", {"a;b"}},
            {"", "", {""}},
    };
    for (const auto& each : cases) {
        Pieces pieces;
        mObject->splitDelimiter(each.text, each.delimiter, pieces);
        EXPECT_EQ(pieces, each.pieces) << each.text << " at " << each.delimiter;
    }
}

TEST_F(TextHelpers, SplitAppends) {
    Pieces pieces = {"x"};
    mObject->splitDelimiter("a;b", ";", pieces);
    mObject->splitDelimiter("c", ";", pieces);
    EXPECT_EQ(pieces, (Pieces{"x", "a", "b", "c"}));
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
