// The build identifier: which lines of the version file give a value, and what is made of it.
#include <cstring>

#include "DeviceFacts.h"

namespace {

using namespace std::string_literals;
using support::info;

constexpr char kFile[] = "/vendor/firmware_mnt/verinfo/ver_info.txt";
constexpr size_t kCapacity = 128;
const std::string kMissing = "get_build_id: "s + kFile + " file not exist. Use platform BuildId\n";
const std::string kNotFound =
        "get_build_id: Both APPS_ID and META_ID are not found. Use platform BuildId\n";

std::string entry(const std::string& key, const std::string& value) {
    return "        \"" + key + "\": \"" + value + "\",\n";
}
std::string apps(const std::string& value) {
    return entry("apps_vendor", value);
}
std::string meta(const std::string& value) {
    return entry("Meta_Build_ID", value);
}
std::string xs(size_t count) {
    return std::string(count, 'x');
}

class BuildId : public DeviceFacts {
  protected:
    // Asks for the identifier and expects this one, or that nothing is written when it is empty.
    void expectNow(const std::string& identifier, const std::string& line) {
        std::string buffer(kCapacity + 1, '~');
        int length = -1;
        expectLines({info(line)}, [&] { mObject->get_build_id(buffer.data(), &length); });
        EXPECT_EQ(buffer[kCapacity], '~');
        EXPECT_EQ(buffer.substr(0, buffer.find(identifier.empty() ? '~' : '\0')), identifier);
        EXPECT_EQ(length, identifier.empty() ? -1 : static_cast<int>(identifier.size()));
    }
    void expect(const std::string& content, const std::string& identifier) {
        SCOPED_TRACE(content);
        support::writeFile(kFile, content);
        expectNow(identifier, "get_build_id data = [" + identifier +
                                      "] data_size = " + std::to_string(identifier.size()) + "\n");
    }
    void expectNone(const std::string& content) {
        SCOPED_TRACE(content);
        support::writeFile(kFile, content);
        expectNow("", kNotFound);
    }
};

}  // namespace

TEST_F(BuildId, JoinsBothIdentifiersInEitherOrder) {
    expect(apps("APPS.2.0-17-PROD") + meta("META.1.0-42-PROD"),
           "APPS.2.0-17-PROD|META.1.0-42-PROD");
    expect("{\n" + meta("M") + "\n\n" + apps("A") + "}", "A|M");
    expect(apps("A"), "A|N/A");
    expect(meta("M"), "N/A|M");
    expect(apps("a|b:c") + meta(":|"), "a||b::c|::||");
    expect(apps("\xc3\xa4\xff"), "\xc3\xa4\xff|N/A");
}

TEST_F(BuildId, TakesTheSecondTokenAsKeyAndTheFourthAsValue) {
    expectNone("\"apps_vendor\": \"A\",\n\"Meta_Build_ID\": \"M\"\n");
    expect("{\"apps_vendor\": \"A\", \"Meta_Build_ID\": \"M\"}", "A|N/A");
    expect("{\"Meta_Build_ID\"x\"M", "N/A|M");
    expect(apps(""), ",\n|N/A");
    expect(" \"apps_vendor\": \"A\n" + meta("M"), "A\n|M");
    expect(" \"\"\"apps_vendor\"\" \"\"A\"\"\n", "A|N/A");
    expect("x\"Meta_Build_ID\" apps_vendor \"M\"", "N/A|M");
    for (const std::string line : {"", "\"", " \"apps_vendor", " \"apps_vendor\": ",
                                   " \"apps_vendor\": \"", "apps_vendor: A"}) {
        expectNone(line);
    }
}

TEST_F(BuildId, FindsKeyWordsInsideKeysAndTakesTheFirstLineThatGivesAValue) {
    expect(entry("Meta_Build_ID_2", "M") + entry("my_apps_vendor", "A"), "A|M");
    expect(apps("A") + meta("M") + apps("B") + meta("N"), "A|M");
    expectNone(entry("APPS_VENDOR", "A") + entry("meta_build_id", "M") + entry("apps", "B"));
    const std::string both = "apps_vendor Meta_Build_ID";
    expect(entry(both, "1") + entry(both, "2") + entry(both, "3"), "1|2");
}

TEST_F(BuildId, ReadsLongLinesInPieces) {
    const size_t around = apps("").size();
    for (const size_t length : {126U, 127U, 128U}) {  // the last piece is a newline or its like
        const std::string value = xs(length - around);
        expect(apps(value) + meta("M"), value + "|M");
    }
    const size_t cut = 127 - strlen("        \"apps_vendor\": \"");
    expect(apps(xs(cut + 3)), xs(cut) + "|N/A");
    expect(xs(126) + "\n" + apps("A"), "A|N/A");
    expect(xs(254) + meta("M") + xs(299) + "\n" + apps("A"), "A|M");
    expectNone(xs(104) + apps("A"));
    // A line is text up to a NUL, and nothing of a line before it shows behind.
    expect(xs(99) + "\n \"apps_vendor\": \"A\0B\",\n"s + meta("M"), "A|M");
    expectNone(apps("A").insert(3, 1, '\0'));
}

TEST_F(BuildId, CutsTheWholeAt127Characters) {
    expect(apps(xs(70)), xs(70) + "|N/A");
    expect(apps(xs(70)) + meta(std::string(80, 'y')), xs(70) + '|' + std::string(56, 'y'));
    const std::string colons(50, ':');  // a value of 127 characters does not fit on a line
    expect(apps(xs(26) + colons) + meta("M"), xs(26) + colons + colons + "|");
    expect(apps(xs(27) + colons) + meta("M"), xs(27) + colons + colons);
    expect(apps(xs(28) + colons) + meta("M"), xs(28) + colons + colons.substr(1));
}

TEST_F(BuildId, LeavesTheBufferAloneWhenThereIsNoFileToRead) {
    support::removeAll(kFile);
    expectNow("", kMissing);
    makeSocket(kFile);
    expectNow("", kMissing);
    support::removeAll(kFile);
    support::makeDirectories(kFile);
    expectNow("", kNotFound);
    support::removeAll(kFile);
}

TEST_F(BuildId, EscapingRefusesNullPointers) {
    char text[] = "a|b";
    char copy[] = "~~~~";
    EXPECT_EQ(mObject->escapeColonAndBar(nullptr, text), 1);
    EXPECT_EQ(mObject->escapeColonAndBar(copy, nullptr), 1);
    EXPECT_STREQ(copy, "~~~~");
    EXPECT_EQ(mObject->escapeColonAndBar(copy, text), 0);
    EXPECT_STREQ(copy, "a||b");
}
