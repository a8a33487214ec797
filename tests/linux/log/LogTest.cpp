// The log: what is let through, what a logger is given, and what appears on standard error.
#include <android/log.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
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
[[maybe_unused]] const int kTagsAreSet = ::setenv("ANDROID_LOG_TAGS", "talks:much:v hush:e", 1);

std::vector<std::string> gLines;

void keepLine(const __android_log_message* message) {
    gLines.push_back(std::string(message->tag) + ": " + message->message);
    errno = EIO;
}

// What appears on standard error while `action` runs. That is the smallest pipe there is, so that
// writers meet a full one, and it does not make them wait.
template <typename Action>
std::string stderrOf(Action action) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) std::abort();
    ::fcntl(ends[1], F_SETPIPE_SZ, 4096);
    ::fcntl(ends[1], F_SETFL, O_NONBLOCK);
    const int saved = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[1]);
    std::string text;
    std::thread reader([&text, source = ends[0]] {
        char bytes[4096];
        for (ssize_t count; (count = ::read(source, bytes, sizeof(bytes))) > 0;) {
            text.append(bytes, static_cast<size_t>(count));
        }
    });
    action();
    ::dup2(saved, STDERR_FILENO);
    ::close(saved);
    reader.join();
    ::close(ends[0]);
    return text;
}

std::string brief(const char* letterAndTag, const std::string& text) {
    char process[16];
    std::snprintf(process, sizeof(process), "(%5d): ", ::getpid());
    return letterAndTag + (process + text) + "\n";
}

TEST(Log, FollowsTheUsersRulesOrInfoUntilTheProgramSetsAMinimum) {
    __android_log_set_logger(keepLine);
    const auto loggable = [](int priority, const char* tag) {
        return __android_log_is_loggable(priority, tag, ANDROID_LOG_SILENT) == 1;
    };
    EXPECT_TRUE(loggable(ANDROID_LOG_VERBOSE, "talks:much"));
    ::setenv("ANDROID_LOG_TAGS", "hush:v", 1);  // too late to count
    EXPECT_FALSE(loggable(ANDROID_LOG_WARN, "hush"));
    EXPECT_FALSE(loggable(ANDROID_LOG_DEBUG, nullptr));
    EXPECT_EQ(__android_log_write(ANDROID_LOG_DEBUG, "tag", "no"), -EPERM);
    EXPECT_EQ(__android_log_print(ANDROID_LOG_DEBUG, "tag", "no"), -EPERM);
    EXPECT_EQ(__android_log_write(ANDROID_LOG_INFO, "tag", "yes"), 1);

    EXPECT_EQ(__android_log_set_minimum_priority(ANDROID_LOG_WARN), ANDROID_LOG_DEFAULT);
    EXPECT_EQ(__android_log_get_minimum_priority(), ANDROID_LOG_WARN);
    EXPECT_FALSE(loggable(ANDROID_LOG_INFO, "talks:much"));
    EXPECT_EQ(__android_log_print(ANDROID_LOG_WARN, "hush", "yes"), 1);
    EXPECT_EQ(gLines.size(), 2U);
}

TEST(Log, PrintCutsAt1023BytesAndKeepsErrno) {
    __android_log_set_logger(keepLine);
    const std::string text(1023, 'x');
    errno = ENOENT;
    __android_log_print(ANDROID_LOG_INFO, nullptr, "%m");
    __android_log_print(ANDROID_LOG_INFO, "tag", "%s\n", text.c_str());
    __android_log_print(ANDROID_LOG_INFO, "tag", "%s\n", text.c_str() + 1);
    EXPECT_EQ(errno, ENOENT);
    __android_log_write(ANDROID_LOG_INFO, "tag", (text + "\n").c_str());
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(gLines, (std::vector{program_invocation_short_name + ": No such file or directory"s,
                                   "tag: " + text, "tag: " + text.substr(1) + "\n",
                                   "tag: " + text + "\n"}));
}

TEST(StderrLogger, WritesLogcatsBriefFormOfWhatTheUserAllows) {
    const std::string output = stderrOf([] {
        __android_log_write(ANDROID_LOG_INFO, "LUM:lumvndhal_aidl", "ends in a newline\n");
        __android_log_write(ANDROID_LOG_ERROR, "FMQ", "first\n\nthird");
        __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
        __android_log_write(ANDROID_LOG_WARN, "hush", "whatever the program wants");
        for (const int priority : {3, 8, 9}) __android_log_write(priority, "tag", "text");
    });
    EXPECT_EQ(output, brief("I/LUM:lumvndhal_aidl", "ends in a newline") +
                              brief("E/FMQ     ", "first") + brief("E/FMQ     ", "") +
                              brief("E/FMQ     ", "third") + brief("D/tag     ", "text") +
                              brief("S/tag     ", "text") + brief("?/tag     ", "text"));
}

// Messages far longer than the pipe, so that they are written in many pieces. A child forked while
// a thread is in the middle of one must still be able to log. Now and then the pipe makes writers
// wait after all, and signals interrupt them.
TEST(StderrLogger, LosesNothingAndNeverMixesTheLinesOfThreadsOrChildren) {
    const std::string texts[] = {std::string(20000, 'a'), std::string(50, 'b'),
                                 std::string(20000, 'c'), std::string(50, 'd')};
    struct sigaction interruption = {};
    interruption.sa_handler = [](int) {};
    ::sigaction(SIGUSR1, &interruption, nullptr);
    std::istringstream output(stderrOf([&texts] {
        std::vector<std::thread> threads;
        for (const std::string& text : texts)
            threads.emplace_back([&text] {
                for (int i = 0; i < 100; ++i)
                    __android_log_write(ANDROID_LOG_INFO, "tag", text.c_str());
            });
        for (int i = 0; i < 30; ++i) {
            ::fcntl(STDERR_FILENO, F_SETFL, i % 2 == 0 ? 0 : O_NONBLOCK);
            support::ChildProcess child([] {
                ::alarm(10);
                ::close(STDERR_FILENO);  // no lock keeps its lines from coming between
                return __android_log_write(ANDROID_LOG_INFO, "tag", "child") - 1;
            });
            EXPECT_EQ(child.wait(), 0);
            for (std::thread& thread : threads) ::pthread_kill(thread.native_handle(), SIGUSR1);
        }
        for (std::thread& thread : threads) thread.join();
    }));
    std::map<std::string, int> seen;
    for (std::string line; std::getline(output, line);) ++seen[line + "\n"];
    EXPECT_EQ(seen.size(), 4U);
    for (const std::string& text : texts) EXPECT_EQ(seen[brief("I/tag     ", text)], 100);
}

// The letters of the minimums that the rules set for the tags; '?' is none.
std::string minimums(const char* rules, const std::vector<const char*>& tags) {
    const TagFilter filter(rules);
    std::string letters;
    for (const char* tag : tags) letters += "??VDIWEFS"[filter.minimumFor(tag)];
    return letters;
}

TEST(TagFilter, ReadsRulesAsLogcatDoes) {
    EXPECT_EQ(minimums("LUM:lumvndhal_aidl:d, bare a:b:\tFMQ:S one:i one:w *:E",
                       {"LUM:lumvndhal_aidl", "bare", "FMQ", "one", "LUM"}),
              "DVSWE");
    EXPECT_EQ(minimums("LUM:lumvndhal_aidl", {"LUM:lumvndhal_aidl"}), "V");
    EXPECT_EQ(minimums("*", {"tag"}), "D");
    for (const char* nothing : {"", " ,\n", "other:v", "tag:x", ":v"}) {
        EXPECT_EQ(minimums(nothing, {"tag"}), "?") << nothing;
    }
}

}  // namespace
