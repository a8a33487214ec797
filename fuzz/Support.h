#pragma once

#include <android/binder_auto_utils.h>

#include "Files.h"
#include "Input.h"
#include "LogCapture.h"

// libFuzzer's two entries. Where it is not linked, RunFiles.cpp calls them.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fuzz {

// Ends the process with the sentence unless it holds: the input at hand is a finding.
void require(bool holds, const std::string& sentence);
// The expected lines are cut as the log cuts them.
void requireLog(const support::LogLines& actual, support::LogLines expected);

// While it lives, nothing beside the dropbox of the device root may be made, changed or removed;
// at its end the process has to own as many descriptors as before.
class Watch {
  public:
    Watch();
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

  private:
    const size_t mDescriptors;
};

// Memory as a client makes it for a queue, of zeros, sealed against shrinking.
class ClientMemory {
  public:
    explicit ClientMemory(size_t size);
    // Requires that nobody has it mapped any longer.
    ~ClientMemory();
    ClientMemory(const ClientMemory&) = delete;
    ClientMemory& operator=(const ClientMemory&) = delete;

    int fd() const { return mFd.get(); }
    char* bytes() const { return mBytes; }

  private:
    const size_t mSize;
    const ndk::ScopedFileDescriptor mFd;
    char* const mBytes;
};

// Empties the dropbox but for its directory for statistics, and removes what lies beside it under a
// name that begins as its own does: a path without a slash in front leads there.
void resetDropbox();

}  // namespace fuzz
