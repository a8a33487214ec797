#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "Files.h"
#include "ServiceUnderTest.h"

namespace {

using namespace support;

const std::string kRoot = kDropbox;
const std::string kRefused = "[ERROR] Path is not correct";

// The contract holds on the object itself and for a client of another process.
class Dropbox : public testing::TestWithParam<From> {
  protected:
    int32_t update(const std::string& path, bool create) {
        int32_t result = 99;
        EXPECT_TRUE(mService->update_vendor_dropbox(path, create, &result).isOk());
        return result;
    }
    int32_t make(const std::string& path) { return update(path, true); }
    int32_t remove(const std::string& path) { return update(path, false); }

    ServiceUnderTest mService{GetParam()};
};

TEST_P(Dropbox, MakesADirectoryForItsGroupOnceAndAcceptsItTwice) {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(make("/a"), 0);
    EXPECT_EQ(mService.takeLog(), LogLines{});
    struct stat status = {};
    ASSERT_EQ(::stat((kRoot + "/a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0770U & ~mask);
    EXPECT_EQ(make("/a"), 0);
    EXPECT_EQ(mService.takeLog(), LogLines{debug("a is already exist")});
}

TEST_P(Dropbox, AcceptsWhateverIsThereAlready) {
    writeFile(kRoot + "/f", "file");
    ASSERT_EQ(::symlink("nowhere", (kRoot + "/link").c_str()), 0);
    EXPECT_EQ(make("/f"), 0);
    EXPECT_EQ(make("/link"), 0);
    EXPECT_EQ(mService.takeLog(),
              (LogLines{debug("f is already exist"), debug("link is already exist")}));
    EXPECT_EQ(readFile(kRoot + "/f"), "file");
    EXPECT_EQ(make("/"), 0);  // nothing is left to show of this path
    EXPECT_EQ(mService.takeLog(), LogLines{});
}

TEST_P(Dropbox, SaysNothingAboutADirectoryThatCannotBeMade) {
    writeFile(kRoot + "/f", "file");
    for (const std::string& path : {std::string("/a/b"), std::string("/f/a"),
                                    "/" + std::string(256, 'n'), "/" + std::string(5000, 'n')}) {
        EXPECT_EQ(make(path), -1) << path;
    }
    EXPECT_EQ(mService.takeLog(), LogLines{});
    EXPECT_EQ(namesIn(kRoot), std::vector<std::string>{"f"});
}

TEST_P(Dropbox, RefusesEmptyPathsAndTwoDotsAnywhere) {
    makeDirectories(kRoot + "/a");
    for (const bool create : {true, false}) {
        for (const char* path : {"", "..", "/..", "/x/../y", "/a..b", "/a/..."}) {
            EXPECT_EQ(update(path, create), -1) << path;
            EXPECT_EQ(mService.takeLog(), LogLines{error(kRefused)}) << path;
        }
    }
    EXPECT_EQ(make("/./b"), 0);
    EXPECT_EQ(make("/a.b"), 0);
    EXPECT_EQ(namesIn(kRoot), (std::vector<std::string>{"a", "a.b", "b"}));
}

TEST_P(Dropbox, JoinsAPathWithoutALeadingSlashUnchanged) {
    EXPECT_EQ(make("ab"), 0);
    EXPECT_TRUE(exists(kRoot + "ab"));
    EXPECT_EQ(make("ab"), 0);
    EXPECT_EQ(mService.takeLog(), LogLines{debug("b is already exist")});
    EXPECT_EQ(remove("ab"), 0);
    EXPECT_FALSE(exists(kRoot + "ab"));
}

TEST_P(Dropbox, TakesAPathUpToItsFirstNul) {
    EXPECT_EQ(make(std::string("/a\0b", 4)), 0);
    EXPECT_EQ(namesIn(kRoot), std::vector<std::string>{"a"});
    EXPECT_EQ(make(std::string("/a\0..", 5)), -1);
}

TEST_P(Dropbox, RemovesATreeAndNothingThatLinksInItLeadTo) {
    writeFile("/data/vendor/outside/kept", "kept");
    writeFile(kRoot + "/a/b/c/file", "gone");
    writeFile(kRoot + "/a/" + std::string(255, 'n') + "/" + std::string(255, 'm'), "gone");
    ASSERT_EQ(::symlink("/data/vendor/outside", (kRoot + "/a/b/link").c_str()), 0);
    ASSERT_EQ(::mkfifo((kRoot + "/a/pipe").c_str(), 0600), 0);
    EXPECT_EQ(remove("/a"), 0);
    EXPECT_EQ(mService.takeLog(), LogLines{});
    EXPECT_EQ(namesIn(kRoot), std::vector<std::string>{});
    EXPECT_EQ(readFile("/data/vendor/outside/kept"), "kept");
}

TEST_P(Dropbox, FollowsALinkThatThePathItselfNames) {
    writeFile("/data/vendor/outside/file", "gone");
    ASSERT_EQ(::symlink("/data/vendor/outside", (kRoot + "/link").c_str()), 0);
    EXPECT_EQ(remove("/link"), 0);
    EXPECT_EQ(namesIn("/data/vendor/outside"), std::vector<std::string>{});
    EXPECT_TRUE(exists(kRoot + "/link"));
}

TEST_P(Dropbox, LeavesWhatCannotBeOpenedAsADirectory) {
    writeFile(kRoot + "/f", "file");
    EXPECT_EQ(remove("/missing"), 0);
    EXPECT_EQ(remove("/f"), 0);
    EXPECT_EQ(mService.takeLog(),
              (LogLines{debug(kRoot + "/missing is null"), debug(kRoot + "/f is null")}));
    EXPECT_EQ(readFile(kRoot + "/f"), "file");
}

TEST_P(Dropbox, RemovesATreeOfAThousandLevels) {
    std::string path = "/d";
    ASSERT_EQ(make(path), 0);
    for (int level = 1; level < 1000; ++level) ASSERT_EQ(make(path += "/d"), 0);
    writeFile(kRoot + path + "/file", "deep");
    EXPECT_EQ(remove("/d"), 0);
    EXPECT_EQ(mService.takeLog(), LogLines{});
    EXPECT_EQ(namesIn(kRoot), std::vector<std::string>{});
}

TEST_P(Dropbox, LeavesWhatLiesDeeperThanPathsReachAndGoesOn) {
    // Built step by step from inside: no path is long enough to name the innermost file.
    const std::string name(200, 'n');
    ASSERT_EQ(make("/a"), 0);
    int at = ::open((kRoot + "/a").c_str(), O_RDONLY | O_DIRECTORY);
    for (int level = 0; level < 25; ++level) {
        ASSERT_EQ(::mkdirat(at, name.c_str(), 0770), 0);
        const int next = ::openat(at, name.c_str(), O_RDONLY | O_DIRECTORY);
        ::close(at);
        at = next;
    }
    ::close(at);
    writeFile(kRoot + "/a/file", "gone");
    EXPECT_EQ(remove("/a"), 0);
    const LogLines lines = mService.takeLog();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].priority, ANDROID_LOG_DEBUG);
    EXPECT_FALSE(exists(kRoot + "/a/file"));
    EXPECT_TRUE(exists(kRoot + "/a/" + name));
}

TEST_P(Dropbox, EmptiesItselfForALoneSlash) {
    writeFile(kRoot + "/a/file", "gone");
    writeFile(kRoot + "/file", "gone");
    EXPECT_EQ(remove("/"), 0);
    EXPECT_FALSE(exists(kRoot));
    EXPECT_EQ(mService.takeLog(), LogLines{});
    EXPECT_EQ(make("/a"), -1);
}

INSTANTIATE_TEST_SUITE_P(, Dropbox, testing::Values(From::kSameProcess, From::kOtherProcess),
                         [](const auto& each) { return nameOf(each.param); });

TEST(DropboxPaths, AreTheRootFollowedByTheClientsPath) {
    const auto service = ndk::SharedRefBase::make<LumvndhalImpl>();
    EXPECT_EQ(service->validate_path("/a/b"), "/data/vendor/lum/a/b");
    EXPECT_EQ(service->validate_path("/"), "/data/vendor/lum/");
    EXPECT_EQ(service->validate_path("ab"), "/data/vendor/lumab");
    EXPECT_EQ(service->validate_path("//a//."), "/data/vendor/lum//a//.");
    EXPECT_EQ(service->validate_path(""), "");
    EXPECT_EQ(service->validate_path("/a/.."), "");
}

// A subdirectory that may not be read stays with its contents, and so do those above it.
TEST(DropboxRemoval, LogsASubdirectoryThatItMayNotRead) {
    if (::geteuid() == 0 && !hasRealMounts()) {
        GTEST_SKIP() << "left out: without real mounts root keeps its rights to read everything";
    }
    writeFile(kRoot + "/a/closed/file", "kept");
    writeFile(kRoot + "/a/file", "gone");
    ASSERT_EQ(::chmod((kRoot + "/a/closed").c_str(), 0), 0);
    LogCapture log;
    const auto service = ndk::SharedRefBase::make<LumvndhalImpl>();
    service->delete_dir_tree((kRoot + "/a").c_str());
    EXPECT_EQ(log.take(), LogLines{debug(kRoot + "/a/closed is null")});
    EXPECT_EQ(namesIn(kRoot + "/a"), std::vector<std::string>{"closed"});
    ASSERT_EQ(::chmod((kRoot + "/a/closed").c_str(), 0700), 0);
    EXPECT_EQ(readFile(kRoot + "/a/closed/file"), "kept");
}

}  // namespace
