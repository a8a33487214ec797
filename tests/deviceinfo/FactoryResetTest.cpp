// The factory-reset count, and the property that switches it off.
#include <cutils/properties.h>

#include "DeviceFacts.h"

namespace {

using namespace std::string_literals;
using support::error;
using support::info;
using support::LogLines;

constexpr char kDirectory[] = "/mnt/vendor/persist/lum";
constexpr char kFile[] = "/mnt/vendor/persist/lum/frc.dat";
const std::string kName = "get_factory_reset_count:";

class FactoryReset : public DeviceFacts {
  protected:
    void expect(int64_t count, const support::LogLine& line) {
        expectLines({line}, [&] { EXPECT_EQ(mObject->get_factory_reset_count(), count); });
    }
    void expectRead(int64_t count, const std::string& text) {
        expect(count, info(kName + "LUM_FACTORY_RESET_COUNT_PERSIST_FILE : " +
                           std::to_string(count) + ", " + text));
    }
};

}  // namespace

TEST_F(FactoryReset, CountIsTheNumberThatTheFirstLineBeginsWith) {
    const std::string zeros(98, '0');
    const struct {
        std::string content;
        int64_t count;
        std::string line;
    } cases[] = {
            {"12\n", 12, "12\n"},
            {"  \t-3", -3, "  \t-3"},
            {"7abc\n8\n", 7, "7abc\n"},
            {"letters\n", 0, "letters\n"},
            {"\n12\n", 0, "\n"},
            {"", 0, ""},
            {"1\0002\n"s, 1, "1"},
            {zeros + "7\n", 7, zeros + "7"},
            {zeros + "78\n", 7, zeros + "7"},
            {"9223372036854775808", INT64_MAX, "9223372036854775808"},
            {"-9223372036854775809", INT64_MIN, "-9223372036854775809"},
    };
    for (const auto& file : cases) {
        SCOPED_TRACE(file.content);
        support::writeFile(kFile, file.content);
        expectRead(file.count, file.line);
    }
}

TEST_F(FactoryReset, CountIsZeroWithoutAFileToRead) {
    support::removeAll(kDirectory);
    expect(0, info(kName + "Cannot find LUM_FACTORY_RESET_COUNT_PERSIST_DIR"));
    support::makeDirectories(kDirectory);
    expect(0, info(kName + "Cannot find LUM_FACTORY_RESET_COUNT_PERSIST_FILE"));
    makeSocket(kFile);
    expect(0, error(kName + "Could not open LUM_FACTORY_RESET_COUNT_PERSIST_FILE"));
    support::removeAll(kFile);
    support::makeDirectories(kFile);
    expectRead(0, "");
    support::removeAll(kFile);
}

TEST_F(FactoryReset, PropertyCountsWhenItsValueIsTheWholeOfWhatIsExpected) {
    const std::string longest(PROPERTY_VALUE_MAX - 1, '1');
    const struct {
        std::string value, expected;
        bool holds;
    } cases[] = {
            {"1", "1", true},   {longest, longest, true}, {longest, longest + "1", false},
            {"10", "1", false}, {"1", "10", false},       {" 1", "1", false},
            {"1 ", "1", false}, {"", "", false},
    };
    for (const auto& property : cases) {
        ASSERT_EQ(property_set("key", property.value.c_str()), 0);
        const LogLines refused = {info("FRC:key = " + property.value)};
        expectLines(property.holds ? LogLines{} : refused, [&, expected = property.expected] {
            EXPECT_EQ(mObject->check_property_value("key", expected.c_str()), property.holds);
        });
    }
}
