#pragma once

#include <cstddef>
#include <string>

namespace aidl::vendor::tav::lumvndhal_aidl {

// Hands `count` bytes to the kernel: in one call, and in more only when that one took a part or was
// interrupted. False when not all of them were taken.
bool writeAll(int fd, const void* data, size_t count);

// A dropbox file that is about to get new content. Closed when it goes out of scope, if not before.
// Used by one thread.
class OutputFile {
  public:
    // Opens the file at a path that validate_path gave, making or emptying it. Logs when the path
    // is empty (it was refused) or the file cannot be opened.
    explicit OutputFile(std::string path);
    ~OutputFile() { close(); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    bool isOpen() const { return mFd >= 0; }

    // Writes the whole content and closes the file, which must be open. Believes the kernel and
    // nothing else: bytes that were kept back for later could be lost on a full disk without
    // anybody noticing. When it did not take them all: logs, removes the file, false.
    bool write(const void* data, size_t count);

    // Does nothing when the file is not open.
    void close();

  private:
    const std::string mPath;
    int mFd = -1;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
