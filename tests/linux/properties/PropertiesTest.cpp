// The property store. Runs in a device root of its own, in which /dev/__properties__ can be
// written.
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "Files.h"

namespace {

using namespace std::string_literals;
using Names = std::vector<std::string>;

const std::string kDirectory = "/dev/__properties__/";
const std::string kLongest(PROPERTY_VALUE_MAX - 1, 'v');

// The value as property_get gives it; "!" in front when the length returned is not the text's.
std::string get(const std::string& key, const char* fallback = "default") {
    char value[PROPERTY_VALUE_MAX];
    memset(value, 'z', sizeof(value));
    const int length = property_get(key.c_str(), value, fallback);
    const std::string text = value;
    return text.size() == static_cast<size_t>(length) ? text : "!" + text;
}

class Properties : public testing::Test {
  protected:
    void SetUp() override {
        for (const std::string& name : support::namesIn(kDirectory)) {
            support::removeAll(kDirectory + name);
        }
    }
};

}  // namespace

TEST_F(Properties, KeepWhatIsSetUpTo91Bytes) {
    const char key[] = "vendor.test-a_b@c:d.1";
    for (const std::string& value :
         {"1"s, "1 "s, " x\ny\n"s, "\n"s, kLongest, kLongest.substr(1) + "\n"}) {
        EXPECT_EQ(property_set(key, value.c_str()), 0);
        EXPECT_EQ(get(key), value);
    }
    EXPECT_EQ(property_set(key, (kLongest + "v").c_str()), -1);
    EXPECT_EQ(get(key), kLongest.substr(1) + "\n");
}

TEST_F(Properties, ReadAsTheDefaultWhenUnsetOrEmpty) {
    ASSERT_EQ(property_set("empty", "x"), 0);
    ASSERT_EQ(property_set("empty", ""), 0);
    ASSERT_EQ(property_set("null", nullptr), 0);
    for (const char* key : {"unset", "empty", "null"}) {
        EXPECT_EQ(get(key), "default") << key;
        EXPECT_EQ(get(key, nullptr), "") << key;
        EXPECT_EQ(get(key, (kLongest + "more").c_str()), kLongest) << key;
    }
}

TEST_F(Properties, CanBeReadAndWrittenByHand) {
    ASSERT_EQ(property_set("seen", "value"), 0);
    EXPECT_EQ(support::readFile(kDirectory + "seen"), "value");
    struct stat status = {};
    ASSERT_EQ(stat((kDirectory + "seen").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644U);

    const std::pair<std::string, std::string> files[] = {
            {"1\n", "1"},
            {"1\n\n", "1\n"},
            {"\n", "default"},
            {"1\0two"s, "1"},
            {kLongest + "\n", kLongest},
            {kLongest + "v", "default"},
            {kLongest + "v\n", "default"},
            {kLongest + "\n\n", "default"},
    };
    for (const auto& [bytes, value] : files) {
        support::writeFile(kDirectory + "hand", bytes);
        EXPECT_EQ(get("hand"), value) << bytes;
    }
}

TEST_F(Properties, RefuseNamesThatAreNotNames) {
    support::writeFile("/dev/__properties__.outside", "secret");
    for (const std::string& key :
         {""s, "."s, ".a"s, "a."s, "a..b"s, "a/b"s, "../__properties__.outside"s,
          "/dev/__properties__.outside"s, "a b"s, "a\n"s, "\xc3\xa4"s, std::string(256, 'a')}) {
        EXPECT_EQ(property_set(key.c_str(), "x"), -1) << key;
        EXPECT_EQ(get(key), "default") << key;
    }
    EXPECT_EQ(property_set(nullptr, "x"), -1);
    EXPECT_EQ(support::namesIn(kDirectory), Names{});
    support::removeAll("/dev/__properties__.outside");

    const std::string longest(255, 'a');
    EXPECT_EQ(property_set(longest.c_str(), "x"), 0);
    EXPECT_EQ(get(longest), "x");
}

// The limit on a file's size fails the write after its first bytes, as a full disk does.
TEST_F(Properties, KeepTheOldValueWhenTheNewOneCannotBeWritten) {
    ASSERT_EQ(property_set("key", "old"), 0);
    struct rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    const struct rlimit tight = {10, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
    const int result = property_set("key", kLongest.c_str());
    const int error = errno;
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);

    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, EFBIG);
    EXPECT_EQ(get("key"), "old");
    EXPECT_EQ(support::namesIn(kDirectory), Names{"key"});
}

TEST_F(Properties, SurviveThingsThatAreNotFiles) {
    support::makeDirectories(kDirectory + "folder");
    ASSERT_EQ(mkfifo((kDirectory + "pipe").c_str(), 0600), 0);
    const size_t descriptors = support::openDescriptors();
    EXPECT_EQ(get("folder"), "default");
    EXPECT_EQ(get("pipe"), "default");  // and does not wait for a writer
    EXPECT_EQ(property_set("folder", "x"), -1);
    EXPECT_EQ(property_set("pipe", "x"), 0);
    EXPECT_EQ(get("pipe"), "x");
    EXPECT_EQ(support::openDescriptors(), descriptors);
    EXPECT_EQ(support::namesIn(kDirectory), (Names{"folder", "pipe"}));
}
