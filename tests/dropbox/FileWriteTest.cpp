// Signals and full disks. What a write does else is the corpus of fuzz/CallFuzz.cpp.
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
const LogLine kStored = info("LumvndhalImpl::write_data_to_vendor_dropbox(), bres=1 ");
const LogLine kNotStored = info("LumvndhalImpl::write_data_to_vendor_dropbox(), bres=0 ");
const LogLine kNotWritten = error("[ERROR] Failed to write file");

class FileWrite : public testing::Test {
  protected:
    bool write(const std::string& path, const std::string& content) {
        const size_t descriptors = openDescriptors();
        bool result = false;
        const std::vector<uint8_t> data(content.begin(), content.end());
        mService->write_data_to_vendor_dropbox(path, data, static_cast<int32_t>(data.size()),
                                               &result);
        EXPECT_EQ(openDescriptors(), descriptors);
        return result;
    }

    ServiceUnderTest mService{From::kSameProcess};
};

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
    bool result = false;
    mService->write_data_to_vendor_dropbox("/pipe", {sent.begin(), sent.end()}, 200000, &result);
    EXPECT_TRUE(result);
    reader.join();
}

// In this program's root a file system of 64 KiB is mounted at /data/vendor/lum/full.
TEST_F(FileWrite, ToAFullDiskIsNeverAnsweredWithTrueForSmallOrLargeBlocks) {
    if (!hasRealMounts()) GTEST_SKIP() << "left out: without real mounts there is no full disk";
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
    EXPECT_TRUE(write("/full/empty", ""));
}

}  // namespace
