#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/ioctl.h>
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
const std::string kResult = "LumvndhalImpl::write_data_to_vendor_dropbox(), bres=";

class FileWrite : public testing::TestWithParam<From> {
  protected:
    bool write(const std::string& path, const std::string& content, int32_t length) {
        bool result = false;
        const std::vector<uint8_t> data(content.begin(), content.end());
        const auto status = mService->write_data_to_vendor_dropbox(path, data, length, &result);
        EXPECT_TRUE(status.isOk()) << status.getDescription();
        return result;
    }
    bool write(const std::string& path, const std::string& content) {
        return write(path, content, static_cast<int32_t>(content.size()));
    }

    ServiceUnderTest mService{GetParam()};
};

TEST_P(FileWrite, StoresExactlyTheBytesInPlaceOfWhatWasThere) {
    makeDirectories(kRoot + "/d");
    const std::string bytes("\x00\xff\r\n\x80 and more", 14);
    EXPECT_TRUE(write("/d/f.bin", "an earlier, longer content of the file"));
    EXPECT_TRUE(write("/d/f.bin", bytes));
    EXPECT_EQ(readFile(kRoot + "/d/f.bin"), bytes);
    EXPECT_EQ(mService.takeLog(), (LogLines{info(kResult + "1 "), info(kResult + "1 ")}));
    const std::string large(900 * 1024, 'x');
    EXPECT_TRUE(write("/d/f.bin", large));
    EXPECT_EQ(readFile(kRoot + "/d/f.bin"), large);
}

TEST_P(FileWrite, ShowsAPathFromItsEighteenthCharacterOn) {
    makeDirectories(kRoot + "/12345678901234567890");
    const std::string line = "LumvndhalImpl::write_data_to_vendor_dropbox(), spath=";
    EXPECT_TRUE(write("/1234567890123456", "abc"));    // 17 characters
    EXPECT_TRUE(write("/12345678901234567", "abc"));   // 18
    EXPECT_TRUE(write("/1234567890123456789", "ab"));  // 20
    EXPECT_EQ(mService.takeLog(),
              (LogLines{info(kResult + "1 "), info(line + "7 length=3"), info(kResult + "1 "),
                        info(line + "789 length=2"), info(kResult + "1 ")}));
}

TEST_P(FileWrite, RefusesPathsBeforeAnythingIsOpened) {
    writeFile(kRoot + "/f", "kept");
    for (const char* path : {"", "/../lum/f", "/f.."}) {
        EXPECT_FALSE(write(path, "abc"));
        EXPECT_EQ(mService.takeLog(), LogLines{error("[ERROR] Path is not correct")});
    }
    EXPECT_FALSE(write("/12345678901234567..", "abc", -1));
    EXPECT_EQ(mService.takeLog(),
              (LogLines{info("LumvndhalImpl::write_data_to_vendor_dropbox(), spath=7.. length=-1"),
                        error("[ERROR] Path is not correct")}));
    EXPECT_EQ(readFile(kRoot + "/f"), "kept");
    EXPECT_FALSE(exists(kRoot + "/f.."));
}

TEST_P(FileWrite, TellsWhatItCannotOpen) {
    makeDirectories(kRoot + "/directory");
    writeFile(kRoot + "/f", "kept");
    for (const std::string& path : {std::string("/missing/f"), std::string("/directory"),
                                    std::string("/f/g"), "/" + std::string(256, 'n')}) {
        EXPECT_FALSE(write(path, "abc", 99));
        EXPECT_EQ(mService.takeLog().back(), error("[ERROR] Can't open output file"));
    }
    EXPECT_EQ(readFile(kRoot + "/f"), "kept");
}

TEST_P(FileWrite, LeavesAnEmptyFileWhenTheCountIsWrong) {
    for (const int32_t length : {-1, INT32_MIN, 2, 4, INT32_MAX}) {
        writeFile(kRoot + "/f", "earlier");
        EXPECT_FALSE(write("/f", "abc", length));
        EXPECT_EQ(mService.takeLog(),
                  (LogLines{error("[ERROR] wrong data"), info(kResult + "0 ")}));
        EXPECT_EQ(readFile(kRoot + "/f"), "");
    }
}

TEST_P(FileWrite, MakesAnEmptyFileForTheCountZeroWhateverTheData) {
    writeFile(kRoot + "/f", "earlier");
    EXPECT_TRUE(write("/f", "abcde", 0));
    EXPECT_TRUE(write("/g", "", 0));
    EXPECT_EQ(mService.takeLog(), (LogLines{info(kResult + "1 "), info(kResult + "1 ")}));
    EXPECT_EQ(readFile(kRoot + "/f"), "");
    EXPECT_EQ(readFile(kRoot + "/g"), "");
}

// A full pipe keeps the writer waiting until a signal ends its call: with a part of the bytes the
// first time, with none when the pipe is still full.
TEST(FileWriteSignals, DoNotCutAFileShort) {
    static std::atomic<int> interruptions{0};
    struct sigaction count = {};
    count.sa_handler = [](int) { ++interruptions; };
    ::sigaction(SIGUSR1, &count, nullptr);  // without SA_RESTART
    const std::string pipe = kRoot + "/pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const std::vector<uint8_t> sent(200000, 'x');
    std::thread reader([&pipe, &sent, writer = ::pthread_self()] {
        const int fd = ::open(pipe.c_str(), O_RDONLY);
        const int capacity = ::fcntl(fd, F_GETPIPE_SZ);
        for (int waiting = 0; waiting < capacity; ::usleep(1000)) ::ioctl(fd, FIONREAD, &waiting);
        for (int i = 1; i <= 5; ++i) {
            ::pthread_kill(writer, SIGUSR1);
            while (interruptions < i) ::usleep(1000);
        }
        std::vector<uint8_t> received(sent.size());
        size_t got = 0;
        for (ssize_t n; (n = ::read(fd, received.data() + got, received.size() - got)) > 0;) {
            got += static_cast<size_t>(n);
        }
        EXPECT_EQ(received, sent);
        ::close(fd);
    });
    ServiceUnderTest service(From::kSameProcess);
    bool result = false;
    service->write_data_to_vendor_dropbox("/pipe", sent, 200000, &result);
    EXPECT_TRUE(result);
    reader.join();
}

INSTANTIATE_TEST_SUITE_P(, FileWrite, testing::Values(From::kSameProcess, From::kOtherProcess),
                         [](const auto& each) { return nameOf(each.param); });

// In this program's root a file system of 64 KiB is mounted at /data/vendor/lum/full.
class FullDisk : public FileWrite {
  protected:
    void SetUp() override {
        if (!hasRealMounts())
            GTEST_SKIP() << "left out: the root has no real mounts, so no full disk";
    }
};

TEST_P(FullDisk, IsNeverAnsweredWithTrueForSmallOrLargeBlocks) {
    EXPECT_TRUE(write("/full/fits", "abc"));
    EXPECT_FALSE(write("/full/large", std::string(100 * 1024, 'x')));
    EXPECT_EQ(mService.takeLog(),
              (LogLines{info(kResult + "1 "), error("[ERROR] Failed to write file"),
                        info(kResult + "0 ")}));
    EXPECT_EQ(namesIn(kRoot + "/full"), std::vector<std::string>{"fits"});
    // Now take the last page: not one byte more goes in.
    while (write("/full/filler" + std::to_string(namesIn(kRoot + "/full").size()),
                 std::string(4096, 'x'))) {
    }
    mService.takeLog();
    EXPECT_FALSE(write("/full/small", "abc"));
    EXPECT_EQ(mService.takeLog(),
              (LogLines{error("[ERROR] Failed to write file"), info(kResult + "0 ")}));
    EXPECT_FALSE(exists(kRoot + "/full/small"));
    EXPECT_TRUE(write("/full/empty", "", 0));
}

TEST_P(FullDisk, StaysWhenTheTreeThatHoldsItIsRemoved) {
    writeFile(kRoot + "/full/a/file", "gone");
    int32_t result = -1;
    EXPECT_TRUE(mService->update_vendor_dropbox("/full", false, &result).isOk());
    EXPECT_EQ(result, 0);
    EXPECT_EQ(mService.takeLog(), LogLines{});
    EXPECT_EQ(namesIn(kRoot + "/full"), std::vector<std::string>{});
    EXPECT_TRUE(exists(kRoot + "/full"));  // busy
}

INSTANTIATE_TEST_SUITE_P(, FullDisk, testing::Values(From::kSameProcess, From::kOtherProcess),
                         [](const auto& each) { return nameOf(each.param); });

}  // namespace
