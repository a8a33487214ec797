#pragma once

#include <cstddef>
#include <string>

namespace aidl::vendor::tav::lumvndhal_aidl {

// A dropbox file that is about to get new content. Closed when it goes out of scope. Used by one
// thread.
class OutputFile {
  public:
    // Opens the file at a path that validate_path gave, making or emptying it. Logs when the path
    // is empty (it was refused) or the file cannot be opened.
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    bool isOpen() const { return mFd >= 0; }

    // Hands the bytes to the kernel in one call and believes its answer: bytes that were kept back
    // for later could be lost on a full disk without anybody noticing. When fewer than `count` were
    // taken: logs, removes the file, false.
    bool write(const void* data, size_t count);

  private:
    const std::string& mPath;  // the caller's
    int mFd = -1;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
