// The property store, which each test finds empty.
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "Files.h"

namespace {

using namespace std::string_literals;
using Names = std::vector<std::string>;

const std::string kDirectory = "/dev/__properties__/";
const std::string kOutside = "/dev/__properties__.outside";
const std::string kLongest(PROPERTY_VALUE_MAX - 1, 'v');

// The value as property_get gives it; "!" in front when the length returned is not the text's.
std::string get(const std::string& key, const char* fallback = "default") {
    char value[PROPERTY_VALUE_MAX];
    std::memset(value, 'z', sizeof(value));
    const int length = property_get(key.c_str(), value, fallback);
    const std::string text = value;
    return text.size() == static_cast<size_t>(length) ? text : "!" + text;
}

TEST(Properties, KeepWhatIsSetUpTo91Bytes) {
    const std::string key = "vendor.test-a_z@A:Z.09";
    for (const std::string& value :
         {"1"s, "1 "s, " x\ny\n"s, "\n"s, kLongest.substr(1) + "\n", kLongest}) {
        EXPECT_EQ(property_set(key.c_str(), value.c_str()), 0);
        EXPECT_EQ(get(key), value);
    }
    struct stat status = {};
    EXPECT_EQ(::stat((kDirectory + key).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644U);
    EXPECT_EQ(property_set(key.c_str(), (kLongest + "v").c_str()), -1);

    // What can be written only in part, as on a full disk, leaves the old value.
    support::ChildProcess child([&] {
        const struct rlimit tight = {10, 10};
        ::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &tight);
        return property_set(key.c_str(), "more than ten bytes") == -1 ? errno : 0;
    });
    EXPECT_EQ(child.wait(), EFBIG);
    EXPECT_EQ(get(key), kLongest);
    EXPECT_EQ(support::namesIn(kDirectory), Names{key});
}

TEST(Properties, CanBeWrittenByHandAndReadAsTheDefaultWithoutAValue) {
    const std::pair<std::string, std::string> files[] = {{"1\n", "1"},
                                                         {"1\n\n", "1\n"},
                                                         {"\n", "default"},
                                                         {"1\0two"s, "1"},
                                                         {kLongest + "\n", kLongest},
                                                         {kLongest + "v", "default"},
                                                         {kLongest + "v\n", "default"},
                                                         {kLongest + "\n\n", "default"}};
    for (const auto& [bytes, value] : files) {
        support::writeFile(kDirectory + "hand", bytes);
        EXPECT_EQ(get("hand"), value) << bytes;
    }
    EXPECT_EQ(property_set("hand", nullptr), 0);
    for (const char* key : {"unset", "hand"}) {
        EXPECT_EQ(get(key), "default") << key;
        EXPECT_EQ(get(key, nullptr), "") << key;
        EXPECT_EQ(get(key, (kLongest + "more").c_str()), kLongest) << key;
    }
}

TEST(Properties, RefuseNamesThatAreNotNames) {
    support::writeFile(kOutside, "secret");
    for (const std::string& key :
         {""s, "."s, ".a"s, "a."s, "a..b"s, "a/b"s, "../__properties__.outside"s, kOutside, "a b"s,
          "a\n"s, "\xc3\xa4"s, std::string(256, 'a')}) {
        errno = 0;
        EXPECT_EQ(property_set(key.c_str(), "x"), -1) << key;
        EXPECT_EQ(errno, EINVAL) << key;
        EXPECT_EQ(get(key), "default") << key;
    }
    EXPECT_EQ(property_set(nullptr, "x"), -1);
    EXPECT_EQ(support::namesIn(kDirectory), Names{});
    EXPECT_EQ(property_set(std::string(255, 'a').c_str(), "x"), 0);
    EXPECT_EQ(get(std::string(255, 'a')), "x");
}

TEST(Properties, SurviveThingsThatAreNotFiles) {
    support::makeDirectories(kDirectory + "folder");
    ASSERT_EQ(::mkfifo((kDirectory + "pipe").c_str(), 0600), 0);
    const size_t descriptors = support::openDescriptors();
    EXPECT_EQ(get("folder") + get("pipe"), "defaultdefault");  // without waiting for a writer
    EXPECT_EQ(property_set("folder", "x"), -1);
    EXPECT_EQ(property_set("pipe", "x"), 0);
    EXPECT_EQ(get("pipe"), "x");
    EXPECT_EQ(support::openDescriptors(), descriptors);
    EXPECT_EQ(support::namesIn(kDirectory), (Names{"folder", "pipe"}));
}

}  // namespace
