// The log: what is let through, what a logger is given, and what appears on standard error.
#include <android/log.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "StderrCapture.h"
#include "platform/log/TagFilter.h"

namespace {

// The library looks at the variable once, so it is set before any test can log.
[[maybe_unused]] const int kTagsAreSet = setenv("ANDROID_LOG_TAGS", "talks:much:v hush:e", 1);

struct Line {
    int32_t priority;
    std::string tag;
    std::string text;
};

std::mutex gLinesLock;
std::vector<Line> gLines;

void keepLine(const __android_log_message* message) {
    const std::lock_guard<std::mutex> lock(gLinesLock);
    gLines.push_back({message->priority, message->tag, message->message});
    errno = EIO;
}

// Collects what is logged, at the priorities that a process starts with.
class Log : public testing::Test {
  protected:
    void SetUp() override {
        gLines.clear();
        __android_log_set_logger(keepLine);
    }
    void TearDown() override {
        __android_log_set_minimum_priority(ANDROID_LOG_DEFAULT);
        __android_log_set_logger(__android_log_stderr_logger);
    }
};

// The lines that appear on standard error while `action` runs.
template <typename Action>
std::string stderrOf(Action action) {
    StderrCapture capture;
    action();
    return capture.finish();
}

std::string brief(const char* letterAndTag, const std::string& text) {
    char process[16];
    static_cast<void>(snprintf(process, sizeof(process), "(%5d): ", getpid()));
    return letterAndTag + (process + text) + "\n";
}

}  // namespace

TEST_F(Log, StartsAtInfoUntilAMinimumIsSet) {
    EXPECT_EQ(__android_log_get_minimum_priority(), ANDROID_LOG_DEFAULT);
    EXPECT_EQ(__android_log_write(ANDROID_LOG_DEBUG, "tag", "no"), -EPERM);
    EXPECT_EQ(__android_log_print(ANDROID_LOG_VERBOSE, "tag", "%s", "no"), -EPERM);
    EXPECT_EQ(__android_log_write(ANDROID_LOG_INFO, "tag", "yes"), 1);
    EXPECT_EQ(gLines.size(), 1U);

    EXPECT_EQ(__android_log_set_minimum_priority(ANDROID_LOG_VERBOSE), ANDROID_LOG_DEFAULT);
    EXPECT_EQ(__android_log_print(ANDROID_LOG_VERBOSE, "tag", "%s", "yes"), 1);
    EXPECT_EQ(__android_log_set_minimum_priority(ANDROID_LOG_FATAL), ANDROID_LOG_VERBOSE);
    EXPECT_EQ(__android_log_write(ANDROID_LOG_ERROR, "tag", "no"), -EPERM);
    EXPECT_EQ(gLines.size(), 2U);
}

TEST_F(Log, FollowsTheUsersRulesUntilTheProgramSetsAMinimum) {
    const auto loggable = [](int priority, const char* tag) {
        return __android_log_is_loggable(priority, tag, ANDROID_LOG_SILENT) == 1;
    };
    EXPECT_FALSE(loggable(ANDROID_LOG_VERBOSE, "hush"));
    setenv("ANDROID_LOG_TAGS", "hush:v", 1);  // too late to count
    EXPECT_TRUE(loggable(ANDROID_LOG_VERBOSE, "talks:much"));
    EXPECT_FALSE(loggable(ANDROID_LOG_WARN, "hush"));
    EXPECT_TRUE(loggable(ANDROID_LOG_ERROR, "hush"));
    EXPECT_FALSE(loggable(ANDROID_LOG_DEBUG, nullptr));

    __android_log_set_minimum_priority(ANDROID_LOG_WARN);
    EXPECT_FALSE(loggable(ANDROID_LOG_INFO, "talks:much"));
    EXPECT_TRUE(loggable(ANDROID_LOG_WARN, "hush"));
}

TEST_F(Log, PrintCutsAt1023BytesAndWriteDoesNot) {
    const std::string text(3000, 'x');
    __android_log_print(ANDROID_LOG_INFO, "tag", "%s\n", text.c_str());
    __android_log_print(ANDROID_LOG_INFO, "tag", "%s\n", text.substr(0, 1022).c_str());
    __android_log_write(ANDROID_LOG_INFO, "tag", (text + "\n").c_str());
    ASSERT_EQ(gLines.size(), 3U);
    EXPECT_EQ(gLines[0].text, text.substr(0, 1023));
    EXPECT_EQ(gLines[1].text, text.substr(0, 1022) + "\n");
    EXPECT_EQ(gLines[2].text, text + "\n");
}

TEST_F(Log, KeepsErrnoForTheCallerAndForTheFormat) {
    errno = ENOENT;
    __android_log_print(ANDROID_LOG_ERROR, nullptr, "%m");
    EXPECT_EQ(errno, ENOENT);
    __android_log_write(ANDROID_LOG_ERROR, "tag", "text");
    EXPECT_EQ(errno, ENOENT);
    ASSERT_EQ(gLines.size(), 2U);
    EXPECT_EQ(gLines[0].text, "No such file or directory");
    EXPECT_EQ(gLines[0].tag, program_invocation_short_name);
}

TEST(StderrLogger, WritesLogcatsBriefForm) {
    const std::string output = stderrOf([] {
        __android_log_write(ANDROID_LOG_INFO, "LUM:lumvndhal_aidl", "ends in a newline\n");
        __android_log_write(ANDROID_LOG_ERROR, "FMQ", "first\n\nthird");
        __android_log_write(ANDROID_LOG_WARN, "tag", "");
        __android_log_write(ANDROID_LOG_DEBUG, "tag", "not this one");
        __android_log_write(ANDROID_LOG_VERBOSE, "talks:much", "but this one");
    });
    EXPECT_EQ(output, brief("I/LUM:lumvndhal_aidl", "ends in a newline") +
                              brief("E/FMQ     ", "first") + brief("E/FMQ     ", "") +
                              brief("E/FMQ     ", "third") + brief("W/tag     ", "") +
                              brief("V/talks:much", "but this one"));
}

TEST(StderrLogger, LeavesOutWhatTheUserForbidsWhateverTheProgramWants) {
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    const std::string output = stderrOf([] {
        __android_log_write(ANDROID_LOG_WARN, "hush", "no");
        __android_log_write(ANDROID_LOG_DEBUG, "tag", "yes");
    });
    __android_log_set_minimum_priority(ANDROID_LOG_DEFAULT);
    EXPECT_EQ(output, brief("D/tag     ", "yes"));
}

// Messages far longer than the pipe, so that every one of them is written in many pieces.
TEST(StderrLogger, NeverMixesTheLinesOfThreads) {
    constexpr size_t kThreads = 4;
    constexpr size_t kMessages = 40;
    const std::string output = stderrOf([] {
        std::vector<std::thread> threads;
        for (size_t i = 0; i < kThreads; ++i) {
            threads.emplace_back([i] {
                const std::string text(i % 2 == 0 ? 20000 : 50, static_cast<char>('a' + i));
                for (size_t k = 0; k < kMessages; ++k) {
                    __android_log_write(ANDROID_LOG_INFO, "tag", text.c_str());
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
    });

    std::map<std::string, size_t> seen;
    for (size_t start = 0; start < output.size();) {
        const size_t end = output.find('\n', start) + 1;
        ++seen[output.substr(start, end - start)];
        start = end;
    }
    ASSERT_EQ(seen.size(), kThreads);
    for (size_t i = 0; i < kThreads; ++i) {
        const std::string text(i % 2 == 0 ? 20000 : 50, static_cast<char>('a' + i));
        EXPECT_EQ(seen[brief("I/tag     ", text)], kMessages);
    }
}

TEST(StderrLogger, LosesNothingToSignals) {
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = [](int) {};  // without SA_RESTART: a waiting write is interrupted
    sigaction(SIGUSR1, &action, &before);

    const std::string text(300000, 'x');
    const std::string output = stderrOf([&text] {
        std::atomic<bool> done{false};
        std::thread writer([&] {
            __android_log_write(ANDROID_LOG_INFO, "tag", text.c_str());
            done = true;
        });
        while (!done) {
            pthread_kill(writer.native_handle(), SIGUSR1);
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
        writer.join();
    });
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_TRUE(output == brief("I/tag     ", text)) << output.size() << " bytes arrived";
}

TEST(StderrLogger, WaitsForAReaderOfANonBlockingPipe) {
    const std::string text(300000, 'x');
    StderrCapture capture;
    capture.makeNonBlocking();
    __android_log_write(ANDROID_LOG_INFO, "tag", text.c_str());
    const std::string output = capture.finish();
    EXPECT_TRUE(output == brief("I/tag     ", text)) << output.size() << " bytes arrived";
}

// A child forked while another thread is in the middle of a message must still be able to log.
TEST(StderrLogger, WorksInAForkedChild) {
    StderrCapture capture;
    std::atomic<bool> stop{false};
    std::thread writer([&stop] {
        const std::string text(20000, 'x');
        while (!stop) __android_log_write(ANDROID_LOG_INFO, "tag", text.c_str());
    });
    bool good = true;
    for (int i = 0; i < 50 && good; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(10);
            __android_log_write(ANDROID_LOG_INFO, "tag", "child");
            _exit(0);
        }
        int status = -1;
        good = waitpid(child, &status, 0) == child && status == 0;
    }
    stop = true;
    writer.join();
    capture.finish();
    EXPECT_TRUE(good);
}

TEST(TagFilter, ReadsRulesAsLogcatDoes) {
    const TagFilter filter("LUM:lumvndhal_aidl:d, bare a:b:\tFMQ:S one:i one:w *:E");
    EXPECT_EQ(filter.minimumFor("LUM:lumvndhal_aidl"), ANDROID_LOG_DEBUG);
    EXPECT_EQ(filter.minimumFor("bare"), ANDROID_LOG_VERBOSE);
    EXPECT_EQ(filter.minimumFor("FMQ"), ANDROID_LOG_SILENT);
    EXPECT_EQ(filter.minimumFor("one"), ANDROID_LOG_WARN);
    EXPECT_EQ(filter.minimumFor("LUM"), ANDROID_LOG_ERROR);
    EXPECT_EQ(filter.minimumFor(""), ANDROID_LOG_ERROR);

    EXPECT_EQ(TagFilter("LUM:lumvndhal_aidl").minimumFor("LUM:lumvndhal_aidl"),
              ANDROID_LOG_VERBOSE);
    EXPECT_EQ(TagFilter("*").minimumFor("tag"), ANDROID_LOG_DEBUG);
    EXPECT_EQ(TagFilter("* *:f").minimumFor("tag"), ANDROID_LOG_FATAL);
    for (const char* nothing : {"", " ,\n", "other:v", "tag:x", ":v"}) {
        EXPECT_EQ(TagFilter(nothing).minimumFor("tag"), ANDROID_LOG_DEFAULT) << nothing;
    }
}
