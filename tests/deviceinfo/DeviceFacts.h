#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "Files.h"
#include "ServiceUnderTest.h"

// A service object that is asked for facts, and looked at for what it logs and leaves open.
class DeviceFacts : public testing::Test {
  protected:
    // Asks, and expects these lines and that no descriptor stays open.
    template <typename Ask>
    void expectLines(const support::LogLines& lines, Ask ask) {
        const size_t descriptors = support::openDescriptors();
        ask();
        EXPECT_EQ(support::openDescriptors(), descriptors);
        EXPECT_EQ(mLog.take(), lines);
    }
    // Puts a socket at the path: a file that exists and that nobody can open, the superuser
    // included.
    static void makeSocket(const std::string& path) {
        if (::mknod(path.c_str(), S_IFSOCK | 0600, 0) == 0) return;
        std::perror(path.c_str());
        std::abort();
    }

    std::shared_ptr<support::LumvndhalImpl> mObject =
            ndk::SharedRefBase::make<support::LumvndhalImpl>();
    support::LogCapture mLog;
};
