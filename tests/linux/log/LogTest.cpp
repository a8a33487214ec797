// The log: what is let through, what a logger is given, and what appears on standard error.
#include <android/log.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "linux/platform/log/TagFilter.h"

namespace {

using namespace std::string_literals;

// The library looks at the variable once, so it is set before any test can log.
[[maybe_unused]] const int kTagsAreSet = setenv("ANDROID_LOG_TAGS", "talks:much:v hush:e", 1);

std::vector<std::string> gLines;

void keepLine(const __android_log_message* message) {
    gLines.push_back(std::string(message->tag) + ": " + message->message);
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

// What appears on standard error while `action` runs. That is the smallest pipe there is, so that
// writers meet a full one.
template <typename Action>
std::string stderrOf(Action action) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) abort();
    fcntl(ends[1], F_SETPIPE_SZ, 4096);
    const int saved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    std::string text;
    std::thread reader([&text, source = ends[0]] {
        FILE* stream = fdopen(source, "r");
        for (int byte = getc(stream); byte != EOF; byte = getc(stream)) {
            text += static_cast<char>(byte);
        }
        fclose(stream);
    });
    action();
    dup2(saved, STDERR_FILENO);
    close(saved);
    reader.join();
    return text;
}

std::string brief(const char* letterAndTag, const std::string& text) {
    char process[16];
    static_cast<void>(snprintf(process, sizeof(process), "(%5d): ", getpid()));
    return letterAndTag + (process + text) + "\n";
}

}  // namespace

TEST_F(Log, FollowsTheUsersRulesOrInfoUntilTheProgramSetsAMinimum) {
    const auto loggable = [](int priority, const char* tag) {
        return __android_log_is_loggable(priority, tag, ANDROID_LOG_SILENT) == 1;
    };
    EXPECT_TRUE(loggable(ANDROID_LOG_VERBOSE, "talks:much"));
    setenv("ANDROID_LOG_TAGS", "hush:v", 1);  // too late to count
    EXPECT_FALSE(loggable(ANDROID_LOG_WARN, "hush"));
    EXPECT_FALSE(loggable(ANDROID_LOG_DEBUG, nullptr));
    EXPECT_EQ(__android_log_write(ANDROID_LOG_DEBUG, "tag", "no"), -EPERM);
    EXPECT_EQ(__android_log_print(ANDROID_LOG_DEBUG, "tag", "no"), -EPERM);
    EXPECT_EQ(__android_log_write(ANDROID_LOG_INFO, "tag", "yes"), 1);

    EXPECT_EQ(__android_log_set_minimum_priority(ANDROID_LOG_WARN), ANDROID_LOG_DEFAULT);
    EXPECT_FALSE(loggable(ANDROID_LOG_INFO, "talks:much"));
    EXPECT_EQ(__android_log_print(ANDROID_LOG_WARN, "hush", "yes"), 1);
    EXPECT_EQ(gLines.size(), 2U);
}

TEST_F(Log, PrintCutsAt1023BytesAndWriteDoesNot) {
    const std::string text(3000, 'x');
    __android_log_print(ANDROID_LOG_INFO, "tag", "%s\n", text.substr(0, 1023).c_str());
    __android_log_print(ANDROID_LOG_INFO, "tag", "%s\n", text.substr(0, 1022).c_str());
    __android_log_write(ANDROID_LOG_INFO, "tag", (text + "\n").c_str());
    const std::string start = "tag: " + text.substr(0, 1022);
    EXPECT_EQ(gLines, (std::vector{start + "x", start + "\n", "tag: " + text + "\n"}));
}

TEST_F(Log, KeepsErrnoForTheCallerAndForTheFormat) {
    errno = ENOENT;
    __android_log_print(ANDROID_LOG_ERROR, nullptr, "%m");
    EXPECT_EQ(errno, ENOENT);
    __android_log_write(ANDROID_LOG_ERROR, "tag", "text");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(gLines.at(0), program_invocation_short_name + ": No such file or directory"s);
}

TEST(StderrLogger, WritesLogcatsBriefFormOfWhatTheUserAllows) {
    const std::string output = stderrOf([] {
        __android_log_write(ANDROID_LOG_INFO, "LUM:lumvndhal_aidl", "ends in a newline\n");
        __android_log_write(ANDROID_LOG_ERROR, "FMQ", "first\n\nthird");
        __android_log_write(ANDROID_LOG_WARN, "tag", "");
        __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
        __android_log_write(ANDROID_LOG_WARN, "hush", "whatever the program wants");
        __android_log_write(ANDROID_LOG_DEBUG, "tag", "text");
        __android_log_set_minimum_priority(ANDROID_LOG_DEFAULT);
    });
    EXPECT_EQ(output, brief("I/LUM:lumvndhal_aidl", "ends in a newline") +
                              brief("E/FMQ     ", "first") + brief("E/FMQ     ", "") +
                              brief("E/FMQ     ", "third") + brief("W/tag     ", "") +
                              brief("D/tag     ", "text"));
}

// Messages far longer than the pipe, so that they are written in many pieces.
TEST(StderrLogger, NeverMixesTheLinesOfThreads) {
    const std::string texts[] = {std::string(20000, 'a'), std::string(50, 'b'),
                                 std::string(20000, 'c'), std::string(50, 'd')};
    std::istringstream output(stderrOf([&texts] {
        std::vector<std::thread> threads;
        for (const std::string& text : texts) {
            threads.emplace_back([&text] {
                for (int i = 0; i < 40; ++i) {
                    __android_log_write(ANDROID_LOG_INFO, "tag", text.c_str());
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
    }));
    std::map<std::string, int> seen;
    for (std::string line; std::getline(output, line);) ++seen[line + "\n"];
    EXPECT_EQ(seen.size(), 4U);
    for (const std::string& text : texts) EXPECT_EQ(seen[brief("I/tag     ", text)], 40);
}

TEST(StderrLogger, LosesNothingToSignalsNorToANonBlockingPipe) {
    struct sigaction action = {};
    action.sa_handler = [](int) {};  // without SA_RESTART: a waiting write is interrupted
    sigaction(SIGUSR1, &action, nullptr);
    const std::string text(300000, 'x');
    for (const int flags : {O_WRONLY, O_WRONLY | O_NONBLOCK}) {
        const std::string output = stderrOf([&text, flags] {
            fcntl(STDERR_FILENO, F_SETFL, flags);
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
        EXPECT_TRUE(output == brief("I/tag     ", text)) << output.size() << " bytes arrived";
    }
}

// A child forked while another thread is in the middle of a message must still be able to log.
TEST(StderrLogger, WorksInAForkedChild) {
    int good = 0;
    stderrOf([&good] {
        std::atomic<bool> stop{false};
        std::thread writer([&stop] {
            const std::string text(20000, 'x');
            while (!stop) __android_log_write(ANDROID_LOG_INFO, "tag", text.c_str());
        });
        for (int i = 0; i < 50; ++i) {
            support::ChildProcess child([] {
                alarm(10);
                return __android_log_write(ANDROID_LOG_INFO, "tag", "child") - 1;
            });
            if (child.wait() == 0) ++good;
        }
        stop = true;
        writer.join();
    });
    EXPECT_EQ(good, 50);
}

TEST(TagFilter, ReadsRulesAsLogcatDoes) {
    const TagFilter filter("LUM:lumvndhal_aidl:d, bare a:b:\tFMQ:S one:i one:w *:E");
    EXPECT_EQ(filter.minimumFor("LUM:lumvndhal_aidl"), ANDROID_LOG_DEBUG);
    EXPECT_EQ(filter.minimumFor("bare"), ANDROID_LOG_VERBOSE);
    EXPECT_EQ(filter.minimumFor("FMQ"), ANDROID_LOG_SILENT);
    EXPECT_EQ(filter.minimumFor("one"), ANDROID_LOG_WARN);
    EXPECT_EQ(filter.minimumFor("LUM"), ANDROID_LOG_ERROR);

    EXPECT_EQ(TagFilter("LUM:lumvndhal_aidl").minimumFor("LUM:lumvndhal_aidl"),
              ANDROID_LOG_VERBOSE);
    EXPECT_EQ(TagFilter("*").minimumFor("tag"), ANDROID_LOG_DEBUG);
    for (const char* nothing : {"", " ,\n", "other:v", "tag:x", ":v"}) {
        EXPECT_EQ(TagFilter(nothing).minimumFor("tag"), ANDROID_LOG_DEFAULT) << nothing;
    }
}
