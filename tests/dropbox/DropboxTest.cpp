// Modes, links, deep trees, directories that cannot be read, signals and full disks. What a path
// does else is the corpus of fuzz/CallFuzz.cpp.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Files.h"
#include "ServiceUnderTest.h"

namespace {

using namespace support;

const std::string kRoot = kDropbox;
const LogLine kStored = info("LumvndhalImpl::write_data_to_vendor_dropbox(), bres=1 ");
const LogLine kNotStored = info("LumvndhalImpl::write_data_to_vendor_dropbox(), bres=0 ");
const LogLine kNotWritten = error("[ERROR] Failed to write file");

class Dropbox : public testing::Test {
  protected:
    // What the call logs; nothing of it stays open.
    LogLines update(const std::string& path, bool create, int32_t expected = 0) {
        const size_t descriptors = openDescriptors();
        int32_t result = 99;
        mService->update_vendor_dropbox(path, create, &result);
        EXPECT_EQ(result, expected) << path;
        EXPECT_EQ(openDescriptors(), descriptors);
        return mService.takeLog();
    }
    LogLines remove(const std::string& path) { return update(path, false); }
    bool write(const std::string& path, const std::string& content) {
        bool result = false;
        mService->write_data_to_vendor_dropbox(path, {content.begin(), content.end()},
                                               static_cast<int32_t>(content.size()), &result);
        return result;
    }

    ServiceUnderTest mService{From::kSameProcess};
};

TEST_F(Dropbox, MakesDirectoriesForItsGroupAndAcceptsLinks) {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(update("/a", true), LogLines{});
    struct stat status = {};
    ASSERT_EQ(::stat((kRoot + "/a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0770U & ~mask);
    ASSERT_EQ(::symlink("nowhere", (kRoot + "/link").c_str()), 0);
    EXPECT_EQ(update("/link", true), LogLines{debug("link is already exist")});
    for (const size_t length : {256U, 5000U}) {
        EXPECT_EQ(update("/" + std::string(length, 'n'), true, -1), LogLines{});
    }
}

TEST_F(Dropbox, RemovesATreeAndNothingThatLinksInItLeadTo) {
    writeFile("/data/vendor/outside/kept", "kept");
    writeFile(kRoot + "/a/b/c/file", "gone");
    writeFile(kRoot + "/a/" + std::string(255, 'n') + "/" + std::string(255, 'm'), "gone");
    ASSERT_EQ(::symlink("/data/vendor/outside", (kRoot + "/a/b/link").c_str()), 0);
    ASSERT_EQ(::mkfifo((kRoot + "/a/pipe").c_str(), 0600), 0);
    EXPECT_EQ(remove("/a"), LogLines{});
    EXPECT_EQ(namesIn(kRoot), std::vector<std::string>{});
    EXPECT_EQ(namesIn("/data/vendor/outside"), std::vector<std::string>{"kept"});
    // A link that the path itself ends in is followed.
    ASSERT_EQ(::symlink("/data/vendor/outside", (kRoot + "/link").c_str()), 0);
    EXPECT_EQ(remove("/link"), LogLines{});
    EXPECT_EQ(namesIn("/data/vendor/outside"), std::vector<std::string>{});
    EXPECT_EQ(namesIn(kRoot), std::vector<std::string>{"link"});
}

// A chain of directories, of which the first fifty have a file and an empty directory as well.
// Made from inside, since no path is long enough to name all of it.
void makeDeepTree(const std::string& top, int levels) {
    makeDirectories(top);
    int at = ::open(top.c_str(), O_RDONLY | O_DIRECTORY);
    for (int level = 0; level < levels; ++level) {
        if (level < 50) {
            ::close(::openat(at, "file", O_WRONLY | O_CREAT, 0600));
            ASSERT_EQ(::mkdirat(at, "empty", 0700), 0);
        }
        ASSERT_EQ(::mkdirat(at, "d", 0700), 0);
        const int next = ::openat(at, "d", O_RDONLY | O_DIRECTORY);
        ::close(at);
        at = next;
    }
    ::close(at);
}

void* removeA(void* service) {
    int32_t result = -1;
    (*static_cast<ServiceUnderTest*>(service))->update_vendor_dropbox("-deep/a", false, &result);
    return nullptr;
}

// In this program's root a file system in memory is mounted beside the dropbox, if mounts are real:
// on a disk so many directories take their time.
TEST_F(Dropbox, RemovesATreeOfAnyDepthWithLittleStackAndTwoDescriptors) {
    makeDeepTree(kRoot + "-deep/a", 3000);
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const int lowest = ::dup(0);
    ::close(lowest);
    const rlimit two = {static_cast<rlim_t>(lowest) + 2, limit.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &two);
    pthread_attr_t small;
    ::pthread_attr_init(&small);
    ASSERT_EQ(::pthread_attr_setstacksize(&small, 288 * 1024), 0);
    pthread_t thread;
    ASSERT_EQ(::pthread_create(&thread, &small, removeA, &mService), 0);
    ::pthread_join(thread, nullptr);
    ::setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(mService.takeLog(), LogLines{});
    EXPECT_EQ(namesIn(kRoot + "-deep"), std::vector<std::string>{});
}

// Root's rights to read everything are gone where mounts are real.
bool mayReadEverything() {
    return ::geteuid() == 0 && !hasRealMounts();
}

// A subdirectory that may not be read stays with its contents, and so do those above it.
TEST_F(Dropbox, LogsASubdirectoryThatItMayNotRead) {
    if (mayReadEverything()) GTEST_SKIP() << "left out: needs real mounts";
    writeFile(kRoot + "/a/closed/file", "kept");
    writeFile(kRoot + "/a/file", "gone");
    ASSERT_EQ(::chmod((kRoot + "/a/closed").c_str(), 0), 0);
    EXPECT_EQ(remove("/a"), LogLines{debug(kRoot + "/a/closed is null")});
    EXPECT_EQ(namesIn(kRoot + "/a"), std::vector<std::string>{"closed"});
    ASSERT_EQ(::chmod((kRoot + "/a/closed").c_str(), 0700), 0);
    EXPECT_EQ(namesIn(kRoot + "/a/closed"), std::vector<std::string>{"file"});
}

// The directories near the top are closed while the removal is far below. Somebody moves a part of
// the tree meanwhile (when a line is logged): the way up ends in a place that is not of the tree.
// And what were directories when they were listed are links to the dropbox when their turn comes.
TEST_F(Dropbox, RemovesNothingWhereAPartOfTheTreeWasMovedTo) {
    if (mayReadEverything()) GTEST_SKIP() << "left out: needs real mounts";
    static std::string lowest;
    lowest = kRoot + "/a/b/moved";
    for (int level = 0; level < 100; ++level) lowest += "/d";
    for (int i = 0; i < 20; ++i) {
        for (const std::string& directory : {kRoot + "/a/b", kRoot}) {
            writeFile(directory + "/file" + std::to_string(i), "");
        }
        makeDirectories(lowest + "/later" + std::to_string(i));
    }
    makeDirectories(lowest + "/closed");
    ASSERT_EQ(::chmod((lowest + "/closed").c_str(), 0), 0);
    __android_log_set_logger([](const __android_log_message*) {
        for (int i = 0; i < 20; ++i) {
            const std::string later = lowest + "/later" + std::to_string(i);
            if (::rmdir(later.c_str()) == 0) ::symlink(kRoot.c_str(), later.c_str());
        }
        ::rename((kRoot + "/a/b/moved").c_str(), (kRoot + "/here").c_str());
    });
    update("/a", false);
    EXPECT_EQ(namesIn(kRoot).size(), 22U) << "all the files, what was removed, what was moved";
}

std::atomic<int> gInterruptions{0};

// A full pipe keeps the writer waiting until a signal ends its call: with a part of the bytes the
// first time, with none when the pipe is still full.
TEST_F(Dropbox, WritesAreNotCutShortBySignals) {
    struct sigaction count = {};
    count.sa_handler = [](int) { ++gInterruptions; };
    ::sigaction(SIGUSR1, &count, nullptr);  // without SA_RESTART
    ASSERT_EQ(::mkfifo((kRoot + "/pipe").c_str(), 0600), 0);
    const std::string sent(200000, 'x');
    std::thread reader([&sent, writer = ::pthread_self()] {
        const int fd = ::open((kRoot + "/pipe").c_str(), O_RDONLY | O_CLOEXEC);
        const int capacity = ::fcntl(fd, F_GETPIPE_SZ);
        for (int waiting = 0; waiting < capacity; ::usleep(1000)) ::ioctl(fd, FIONREAD, &waiting);
        for (int i = 1; i <= 5; ++i) {
            ::pthread_kill(writer, SIGUSR1);
            while (gInterruptions < i) ::usleep(1000);
        }
        std::string received(sent.size() + 1, '\0');
        size_t got = 0;
        for (ssize_t n; (n = ::read(fd, &received[got], received.size() - got)) > 0;) {
            got += static_cast<size_t>(n);
        }
        EXPECT_EQ(received.substr(0, got), sent);
        ::close(fd);
    });
    EXPECT_TRUE(write("/pipe", sent));
    reader.join();
}

// In this program's root a file system of 64 KiB is mounted at /data/vendor/lum-full.
TEST_F(Dropbox, WritesToAFullDiskAreNeverAnsweredWithTrueForSmallOrLargeBlocks) {
    if (!hasRealMounts()) GTEST_SKIP() << "left out: without real mounts there is no full disk";
    const size_t descriptors = openDescriptors();
    EXPECT_TRUE(write("-full/fits", "abc"));
    EXPECT_FALSE(write("-full/large", std::string(100 * 1024, 'x')));
    EXPECT_EQ(mService.takeLog(), (LogLines{kStored, kNotWritten, kNotStored}));
    EXPECT_EQ(namesIn(kRoot + "-full"), std::vector<std::string>{"fits"});
    // Now take the last page: not one byte more goes in.
    for (int i = 0; write("-full/filler" + std::to_string(i), std::string(4096, 'x')); ++i) {
    }
    mService.takeLog();
    EXPECT_FALSE(write("-full/small", "abc"));
    EXPECT_EQ(mService.takeLog(), (LogLines{kNotWritten, kNotStored}));
    EXPECT_FALSE(exists(kRoot + "-full/small"));
    EXPECT_TRUE(write("-full/empty", ""));
    EXPECT_EQ(openDescriptors(), descriptors);
}

}  // namespace
