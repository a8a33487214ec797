// Standard error for the length of a test.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <thread>

// Leads this process's standard error into the smallest pipe there is, read all the while by a
// thread of its own, so that writers meet a full pipe. One at a time.
class StderrCapture {
  public:
    StderrCapture() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) abort();
        fcntl(ends[1], F_SETPIPE_SZ, 4096);
        mSaved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
        dup2(ends[1], STDERR_FILENO);
        close(ends[1]);
        mReader = std::thread([this, source = ends[0]] { readAll(source); });
    }
    ~StderrCapture() { finish(); }
    StderrCapture(const StderrCapture&) = delete;
    StderrCapture& operator=(const StderrCapture&) = delete;

    void makeNonBlocking() { fcntl(STDERR_FILENO, F_SETFL, O_WRONLY | O_NONBLOCK); }

    // Puts standard error back and returns what came in between.
    std::string finish() {
        if (mReader.joinable()) {
            dup2(mSaved, STDERR_FILENO);
            close(mSaved);
            mReader.join();
        }
        return mText;
    }

  private:
    void readAll(int source) {
        std::array<char, 1000> bytes;
        ssize_t count;
        while ((count = read(source, bytes.data(), bytes.size())) != 0) {
            if (count > 0) mText.append(bytes.data(), static_cast<size_t>(count));
        }
        close(source);
    }

    int mSaved = -1;
    std::string mText;
    std::thread mReader;
};
