// The build identifier: which lines of the version file give a value, and what is made of it.
#include <gtest/gtest.h>

#include <cstring>

#include "DeviceFiles.h"
#include "Files.h"
#include "ServiceUnderTest.h"

namespace {

using namespace std::string_literals;
using support::info;
using support::LogLines;

constexpr char kFile[] = "/vendor/firmware_mnt/verinfo/ver_info.txt";
constexpr size_t kCapacity = 128;
const std::string kBegin = "get_build_id: ";
const std::string kMissing = kBegin + kFile + " file not exist. Use platform BuildId\n";
const std::string kNotFound =
        kBegin + "Both APPS_ID and META_ID are not found. Use platform BuildId\n";

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
// A line without a key, `length` bytes long with its newline.
std::string filler(size_t length) {
    return xs(length - 1) + '\n';
}

class BuildId : public testing::Test {
  protected:
    void SetUp() override { support::removeAll(kFile); }

    // Asks for the identifier of this file; mBuffer, mLength and the lines tell what came.
    LogLines read(const std::string& content) {
        support::writeFile(kFile, content);
        return read();
    }
    LogLines read() {
        memset(mBuffer, '~', sizeof(mBuffer));
        mLength = -1;
        const size_t before = support::openDescriptors();
        mObject->get_build_id(mBuffer, &mLength);
        EXPECT_EQ(support::openDescriptors(), before);
        EXPECT_EQ(mBuffer[kCapacity], '~');
        return mLog.take();
    }
    bool isUntouched() const { return mBuffer[0] == '~' && mLength == -1; }
    void expect(const std::string& content, const std::string& identifier) {
        SCOPED_TRACE(content);
        const LogLines lines = read(content);
        EXPECT_EQ(std::string(mBuffer, strnlen(mBuffer, kCapacity)), identifier);
        EXPECT_EQ(mLength, static_cast<int>(identifier.size()));
        EXPECT_EQ(lines, (LogLines{info("get_build_id data = [" + identifier +
                                        "] data_size = " + std::to_string(mLength) + "\n")}));
    }
    void expectNone(const std::string& content) {
        SCOPED_TRACE(content);
        EXPECT_EQ(read(content), LogLines{info(kNotFound)});
        EXPECT_TRUE(isUntouched());
    }

    std::shared_ptr<support::LumvndhalImpl> mObject =
            ndk::SharedRefBase::make<support::LumvndhalImpl>();
    support::LogCapture mLog;
    char mBuffer[kCapacity + 1];
    int mLength;
};

}  // namespace

TEST_F(BuildId, JoinsBothIdentifiersInEitherOrder) {
    expect(apps("APPS.2.0-17-PROD") + meta("META.1.0-42-PROD"),
           "APPS.2.0-17-PROD|META.1.0-42-PROD");
    EXPECT_EQ(mLength, 33);
    expect("{\n" + meta("M") + "\n\n" + apps("A") + "}", "A|M");
    expect(meta("M"), "N/A|M");
    expect(apps("A"), "A|N/A");
    expect(meta("M"), "N/A|M");
}

TEST_F(BuildId, TakesTheSecondTokenAsKeyAndTheFourthAsValue) {
    expectNone("\"apps_vendor\": \"A\",\n\"Meta_Build_ID\": \"M\"\n");
    expect("{\"apps_vendor\": \"A\", \"Meta_Build_ID\": \"M\"}", "A|N/A");
    expect("{\"Meta_Build_ID\"x\"M", "N/A|M");
    expect(apps(""), ",\n|N/A");
    expect(" \"apps_vendor\": \"A\n" + meta("M"), "A\n|M");
    expect(" \"\"\"apps_vendor\"\" \"\"A\"\"\n", "A|N/A");
    expect(" \"apps_vendor\": \"A\"\r\n", "A|N/A");
    expect("x\"Meta_Build_ID\" apps_vendor \"M\"", "N/A|M");
    expectNone(" \"apps_vendor\": \"");
    for (const char* line : {"", " ", "\"", " \"apps_vendor",
                             " \"apps_vendor\": ", " \"apps_vendor\"", "apps_vendor: A"}) {
        expectNone(line);
        expect(line + ("\n" + apps("A")), "A|N/A");
    }
}

TEST_F(BuildId, FindsKeyWordsInsideKeysAndTakesTheFirstLineThatGivesAValue) {
    expect(entry("Meta_Build_ID_2", "M") + entry("my_apps_vendor", "A"), "A|M");
    expect(apps("A") + meta("M") + apps("B") + meta("N"), "A|M");
    expectNone(entry("APPS_VENDOR", "A") + entry("meta_build_id", "M") + entry("apps", "B"));
    const std::string both = "apps_vendor Meta_Build_ID";
    expect(entry(both, "1") + entry(both, "2") + entry(both, "3"), "1|2");
    expect(" \"" + both + "\"\n" + entry(both, "2"), "2|N/A");
}

TEST_F(BuildId, DoublesBarsAndColonsOfValues) {
    expect(apps("a|b:c") + meta(":|"), "a||b::c|::||");
    expect(apps("\xc3\xa4\xff"), "\xc3\xa4\xff|N/A");
}

TEST_F(BuildId, ReadsLongLinesInPieces) {
    const size_t around = apps("").size();
    for (const size_t length : {126U, 127U}) {
        const std::string value = xs(length - around);
        expect(apps(value), value + "|N/A");
        expect(filler(length) + apps("A"), "A|N/A");
    }
    // The piece ends behind the value's closing quote, the comma, or inside the value.
    expect(apps(xs(128 - around)) + meta("M"), xs(128 - around) + "|M");
    const size_t cut = 127 - strlen("        \"apps_vendor\": \"");
    expect(apps(xs(cut + 3)), xs(cut) + "|N/A");
    expect(xs(127) + apps("A"), "A|N/A");
    expect(xs(254) + meta("M") + filler(300) + apps("A"), "A|M");
    expectNone(xs(104) + apps("A"));
    // A line is text up to a NUL, and nothing of a line before it shows behind.
    expect(filler(100) + " \"apps_vendor\": \"A\0B\",\n"s + meta("M"), "A|M");
    expectNone(apps("A").insert(3, 1, '\0'));
}

TEST_F(BuildId, CutsTheWholeAt127Characters) {
    expect(apps(xs(70)), xs(70) + "|N/A");
    EXPECT_EQ(mLength, 74);
    expect(apps(xs(70)) + meta(std::string(80, 'y')), xs(70) + '|' + std::string(56, 'y'));
    const std::string colons(50, ':');  // a value of 127 characters does not fit on a line
    expect(apps(xs(26) + colons) + meta("M"), xs(26) + colons + colons + "|");
    expect(apps(xs(27) + colons) + meta("M"), xs(27) + colons + colons);
    expect(apps(xs(28) + colons) + meta("M"), xs(28) + colons + colons.substr(1));
}

TEST_F(BuildId, LeavesTheBufferAloneWhenThereIsNoFileToRead) {
    EXPECT_EQ(read(), LogLines{info(kMissing)});
    EXPECT_TRUE(isUntouched());
    makeSocket(kFile);
    EXPECT_EQ(read(), LogLines{info(kMissing)});
    EXPECT_TRUE(isUntouched());
    support::removeAll(kFile);
    support::makeDirectories(kFile);
    EXPECT_EQ(read(), LogLines{info(kNotFound)});
    EXPECT_TRUE(isUntouched());
    support::removeAll(kFile);
    expectNone("");
    expectNone(entry("Other", "O"));
}

TEST_F(BuildId, EscapingRefusesNullPointers) {
    char text[] = "a|b:c";
    char copy[2 * sizeof(text)] = "~";
    EXPECT_EQ(mObject->escapeColonAndBar(nullptr, text), 1);
    EXPECT_EQ(mObject->escapeColonAndBar(copy, nullptr), 1);
    EXPECT_STREQ(copy, "~");
    EXPECT_EQ(mObject->escapeColonAndBar(copy, text), 0);
    EXPECT_STREQ(copy, "a||b::c");
    EXPECT_EQ(mObject->escapeColonAndBar(copy, text + 5), 0);
    EXPECT_STREQ(copy, "");
    EXPECT_EQ(mLog.take(), LogLines{});
}
