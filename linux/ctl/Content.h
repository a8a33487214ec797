#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace lumctl {

// The bytes of a local file, or of standard input for "-".
//
// A large regular file stays on disk and is read when its bytes are asked for; what has no size of
// its own (a pipe, a device) is read to its end at once. Failures are kUsage: nothing was sent.
class Content {
  public:
    // `limit` is the most bytes that the caller can use: more than one byte beyond it is not read.
    Content(const std::string& name, uint64_t limit);
    // Bytes that are at hand already.
    explicit Content(std::vector<uint8_t> bytes);
    ~Content();
    Content(const Content&) = delete;
    Content& operator=(const Content&) = delete;

    // More than the limit when there is more than that.
    uint64_t size() const { return mSize; }
    // Copies `count` bytes from `offset` on, which must lie inside.
    void read(uint64_t offset, void* target, size_t count) const;
    // Has the kernel copy them into the file `target`, at `position`. False when it cannot: then
    // they have to be read.
    bool send(uint64_t offset, int target, uint64_t position, size_t count) const;
    // All bytes.
    std::vector<uint8_t> whole() const;

  private:
    void open();
    void readToEnd(uint64_t limit);
    [[noreturn]] void fail(const char* reason) const;

    std::string mName;
    int mFd = -1;
    uint64_t mSize = 0;
    bool mInMemory = false;
    std::vector<uint8_t> mBytes;
};

}  // namespace lumctl
