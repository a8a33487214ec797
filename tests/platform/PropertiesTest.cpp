// The property store. Runs in a device tree of its own, in which /dev/__properties__ can be
// written.
#include <cutils/properties.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

const std::string kDirectory = "/dev/__properties__/";
const std::string kLongest(PROPERTY_VALUE_MAX - 1, 'v');

// The value as property_get gives it; "!" in front when the length returned is not the text's.
std::string get(const std::string& key, const char* fallback = nullptr) {
    char value[PROPERTY_VALUE_MAX];
    memset(value, 'z', sizeof(value));
    const int length = property_get(key.c_str(), value, fallback);
    const std::string text = value;
    return text.size() == static_cast<size_t>(length) ? text : "!" + text;
}

void writeByHand(const std::string& key, const std::string& bytes) {
    std::ofstream(kDirectory + key, std::ios::binary) << bytes;
}

std::vector<std::string> filesInDirectory() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(kDirectory)) {
        names.push_back(entry.path().filename());
    }
    return names;
}

class Properties : public testing::Test {
  protected:
    void SetUp() override {
        for (const std::string& name : filesInDirectory()) {
            std::filesystem::remove_all(kDirectory + name);
        }
    }
};

}  // namespace

TEST_F(Properties, KeepWhatIsSetUpTo91Bytes) {
    const char key[] = "vendor.test-a_b@c:d.1";
    EXPECT_EQ(get(key), "");
    for (const std::string& value : {std::string("1"), std::string("1 "), std::string(" x\ny\n"),
                                     std::string("\n"), kLongest, kLongest.substr(1) + "\n"}) {
        EXPECT_EQ(property_set(key, value.c_str()), 0);
        EXPECT_EQ(get(key, "default"), value);
    }
    EXPECT_EQ(property_set(key, (kLongest + "v").c_str()), -1);
    EXPECT_EQ(get(key), kLongest.substr(1) + "\n");
}

TEST_F(Properties, ReadAsTheDefaultWhenUnsetOrEmpty) {
    ASSERT_EQ(property_set("empty", "x"), 0);
    ASSERT_EQ(property_set("empty", ""), 0);
    ASSERT_EQ(property_set("null", nullptr), 0);
    for (const char* key : {"unset", "empty", "null"}) {
        EXPECT_EQ(get(key, "default"), "default") << key;
        EXPECT_EQ(get(key, ""), "") << key;
        EXPECT_EQ(get(key, nullptr), "") << key;
        EXPECT_EQ(get(key, (kLongest + "more").c_str()), kLongest) << key;
    }
}

TEST_F(Properties, CanBeWrittenByHand) {
    ASSERT_EQ(property_set("seen", "value"), 0);
    std::string bytes;
    std::getline(std::ifstream(kDirectory + "seen"), bytes, '\0');
    EXPECT_EQ(bytes, "value");
    struct stat status = {};
    ASSERT_EQ(stat((kDirectory + "seen").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644U);

    writeByHand("hand", "1\n");
    EXPECT_EQ(get("hand"), "1");
    writeByHand("hand", "1\n\n");
    EXPECT_EQ(get("hand"), "1\n");
    writeByHand("hand", "\n");
    EXPECT_EQ(get("hand", "default"), "default");
    writeByHand("hand", std::string("1\0two", 5));
    EXPECT_EQ(get("hand"), "1");
    writeByHand("hand", kLongest + "\n");
    EXPECT_EQ(get("hand"), kLongest);
    for (const char* tooMuch : {"v", "v\n", "\n\n", "vvvvvvvvv"}) {
        writeByHand("hand", kLongest + tooMuch);
        EXPECT_EQ(get("hand", "default"), "default");
    }
}

TEST_F(Properties, RefuseNamesThatAreNotNames) {
    const std::string outside = "/dev/__properties__.outside";
    std::ofstream(outside) << "secret";
    for (const std::string& key :
         {std::string(), std::string("."), std::string(".a"), std::string("a."),
          std::string("a..b"), std::string("a/b"), std::string("../__properties__.outside"),
          outside, std::string("a b"), std::string("a\n"), std::string("\xc3\xa4"),
          std::string(256, 'a')}) {
        EXPECT_EQ(property_set(key.c_str(), "x"), -1) << key;
        EXPECT_EQ(get(key, "default"), "default") << key;
    }
    char value[PROPERTY_VALUE_MAX];
    EXPECT_EQ(property_get(nullptr, value, nullptr), 0);
    EXPECT_EQ(property_set(nullptr, "x"), -1);
    EXPECT_TRUE(filesInDirectory().empty());
    unlink(outside.c_str());

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
    EXPECT_NE(signal(SIGXFSZ, handler), SIG_ERR);

    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, EFBIG);
    EXPECT_EQ(get("key"), "old");
    EXPECT_EQ(filesInDirectory(), std::vector<std::string>{"key"});
}

TEST_F(Properties, SurviveThingsThatAreNotFiles) {
    std::filesystem::create_directory(kDirectory + "folder");
    ASSERT_EQ(mkfifo((kDirectory + "pipe").c_str(), 0600), 0);
    const int firstFree = dup(STDOUT_FILENO);
    close(firstFree);
    EXPECT_EQ(get("folder", "default"), "default");
    EXPECT_EQ(get("pipe", "default"), "default");  // and does not wait for a writer
    EXPECT_EQ(property_set("folder", "x"), -1);
    EXPECT_EQ(property_set("pipe", "x"), 0);
    EXPECT_EQ(get("pipe"), "x");

    const int stillFree = dup(STDOUT_FILENO);
    close(stillFree);
    EXPECT_EQ(stillFree, firstFree) << "a descriptor was left open";
    EXPECT_EQ(filesInDirectory().size(), 2U) << "a temporary file was left behind";
}

TEST_F(Properties, AreNeverSeenHalfWritten) {
    const std::string shorter(40, 's');
    ASSERT_EQ(property_set("key", shorter.c_str()), 0);
    std::atomic<int> writersLeft{2};
    std::atomic<int> failures{0};
    const auto write = [&] {
        for (int i = 0; i < 2000; ++i) {
            const std::string& value = i % 2 == 0 ? kLongest : shorter;
            if (property_set("key", value.c_str()) != 0) ++failures;
        }
        --writersLeft;
    };
    std::vector<std::thread> threads;
    threads.emplace_back(write);
    threads.emplace_back(write);
    int torn = 0;
    while (writersLeft > 0) {
        const std::string value = get("key", "default");
        if (value != kLongest && value != shorter) ++torn;
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(filesInDirectory(), std::vector<std::string>{"key"});
}
