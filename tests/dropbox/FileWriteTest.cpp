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

using namespace std::string_literals;
using namespace support;

const std::string kRoot = kDropbox;
const std::string kTaken = "LumvndhalImpl::write_data_to_vendor_dropbox(), spath=";
const LogLine kStored = info("LumvndhalImpl::write_data_to_vendor_dropbox(), bres=1 ");
const LogLine kNotStored = info("LumvndhalImpl::write_data_to_vendor_dropbox(), bres=0 ");
const LogLine kRefused = error("[ERROR] Path is not correct");
const LogLine kNotOpened = error("[ERROR] Can't open output file");
const LogLine kWrongData = error("[ERROR] wrong data");
const LogLine kNotWritten = error("[ERROR] Failed to write file");

class FileWrite : public testing::Test {
  protected:
    bool write(const std::string& path, const std::string& content, int32_t length) {
        const size_t descriptors = openDescriptors();
        bool result = false;
        const std::vector<uint8_t> data(content.begin(), content.end());
        EXPECT_TRUE(mService->write_data_to_vendor_dropbox(path, data, length, &result).isOk());
        EXPECT_EQ(openDescriptors(), descriptors);
        return result;
    }
    bool write(const std::string& path, const std::string& content) {
        return write(path, content, static_cast<int32_t>(content.size()));
    }

    ServiceUnderTest mService{From::kSameProcess};
};

TEST_F(FileWrite, LeavesTheFileThatItsResultTells) {
    makeDirectories(kRoot + "/d");
    const std::string bytes("\x00\xff\r\n\x80 and more", 14);
    const std::string large(900 * 1024, 'x');
    const struct {
        std::string path, content;
        int32_t length;
        LogLines lines;
        std::string left;  // of a file that had the content "earlier"
    } cases[] = {
            {"/f", bytes, 14, {kStored}, bytes},
            {"/f", large, 900 * 1024, {kStored}, large},
            {"/f", "abcde", 0, {kStored}, ""},
            {"/f", "", 0, {kStored}, ""},
            {"/f", "abc", -1, {kWrongData, kNotStored}, ""},
            {"/f", "abc", INT32_MIN, {kWrongData, kNotStored}, ""},
            {"/f", "abc", 2, {kWrongData, kNotStored}, ""},
            {"/f", "abc", 4, {kWrongData, kNotStored}, ""},
            {"/1234567890123456", "abc", 3, {kStored}, "earlier"},  // 17 characters
            {"/12345678901234567", "abc", 3, {info(kTaken + "7 length=3"), kStored}, "earlier"},
            {"/1234567890123456789", "a", 1, {info(kTaken + "789 length=1"), kStored}, "earlier"},
            {"/12345678901234567..", "", -1, {info(kTaken + "7.. length=-1"), kRefused}, "earlier"},
            {"", "abc", 3, {kRefused}, "earlier"},
            {"/../lum/f", "abc", 3, {kRefused}, "earlier"},
            {"/f..", "abc", 3, {kRefused}, "earlier"},
            {"/missing/f", "abc", 9, {kNotOpened}, "earlier"},
            {"/d", "abc", 9, {kNotOpened}, "earlier"},
            {"/f/g", "abc", 9, {kNotOpened}, "earlier"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.path + ' ' + std::to_string(each.length));
        writeFile(kRoot + "/f", "earlier");
        EXPECT_EQ(write(each.path, each.content, each.length), each.lines.back() == kStored);
        EXPECT_EQ(mService.takeLog(), each.lines);
        EXPECT_EQ(readFile(kRoot + "/f"), each.left);
    }
    EXPECT_EQ(readFile(kRoot + "/12345678901234567"), "abc");
}

std::atomic<int> gInterruptions{0};

// A full pipe keeps the writer waiting until a signal ends its call: with a part of the bytes the
// first time, with none when the pipe is still full.
TEST_F(FileWrite, IsNotCutShortBySignals) {
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
    const std::vector<uint8_t> data(sent.begin(), sent.end());
    bool result = false;
    mService->write_data_to_vendor_dropbox("/pipe", data, 200000, &result);
    EXPECT_TRUE(result);
    reader.join();
}

// In this program's root a file system of 64 KiB is mounted at /data/vendor/lum/full.
class FullDisk : public FileWrite {
  protected:
    void SetUp() override {
        if (!hasRealMounts()) GTEST_SKIP() << "left out: without real mounts there is no full disk";
    }
};

TEST_F(FullDisk, IsNeverAnsweredWithTrueForSmallOrLargeBlocks) {
    EXPECT_TRUE(write("/full/fits", "abc"));
    EXPECT_FALSE(write("/full/large", std::string(100 * 1024, 'x')));
    EXPECT_EQ(mService.takeLog(), (LogLines{kStored, kNotWritten, kNotStored}));
    EXPECT_EQ(namesIn(kRoot + "/full"), std::vector<std::string>{"fits"});
    // Now take the last page: not one byte more goes in.
    for (int i = 0; write("/full/filler" + std::to_string(i), std::string(4096, 'x')); ++i) {
    }
    mService.takeLog();
    EXPECT_FALSE(write("/full/small", "abc"));
    EXPECT_EQ(mService.takeLog(), (LogLines{kNotWritten, kNotStored}));
    EXPECT_FALSE(exists(kRoot + "/full/small"));
    EXPECT_TRUE(write("/full/empty", "", 0));
}

TEST_F(FullDisk, StaysEmptyWhenTheTreeThatHoldsItIsRemoved) {
    writeFile(kRoot + "/full/a/file", "gone");
    int32_t result = -1;
    EXPECT_TRUE(mService->update_vendor_dropbox("/full", false, &result).isOk());
    EXPECT_EQ(result, 0);
    EXPECT_EQ(namesIn(kRoot + "/full"), std::vector<std::string>{});
    EXPECT_TRUE(exists(kRoot + "/full"));
}

}  // namespace
