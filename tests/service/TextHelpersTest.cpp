// Splitting a text and telling a number.
#include <gtest/gtest.h>

#include <tuple>

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
    const std::tuple<std::string, std::string, Pieces> cases[] = {
            {"a;b;;c", ";", {"a", "b", "", "c"}},
            {"", ";", {""}},
            {"a;", ";", {"a", ""}},
            {"a\0;\xff"s, ";", {"a\0"s, "\xff"}},
            {"a:::b", "::", {"a", ":b"}},
            {"aXbxc", "x", {"aXb", "c"}},
            {"a", "aa", {"a"}},
            {"a;b", "", {"a;b"}},
            {"", "", {""}}};
    for (auto [text, delimiter, expected] : cases) {
        Pieces pieces = {"first"};
        mObject->splitDelimiter(text, delimiter, pieces);
        expected.insert(expected.begin(), "first");
        EXPECT_EQ(pieces, expected) << text << " at " << delimiter;
    }
}

TEST_F(TextHelpers, NumberIsDigitsOnlyOfAnyCount) {
    for (const auto& text : {""s, "0"s, "007"s, "0123456789"s, std::string(1000000, '9')}) {
        EXPECT_TRUE(mObject->isNumber(text)) << text.substr(0, 20);
    }
    for (const auto& text : {"-1"s, " 1"s, "12a"s, "/"s, ":"s, "1\0"s, "\xb2"s, "\xd9\xa3"s}) {
        EXPECT_FALSE(mObject->isNumber(text)) << text;
    }
}
