#include "Content.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "Failure.h"
#include "Text.h"

namespace lumctl {
namespace {

constexpr size_t kPiece = size_t{1024} * 1024;

}  // namespace

Content::Content(const std::string& name, uint64_t limit) : mName(name) {
    open();
    struct stat status = {};
    if (::fstat(mFd, &status) != 0) fail(std::strerror(errno));
    if (S_ISDIR(status.st_mode)) fail("it is a directory; put -r takes one");
    // Standard input may stand in the middle of a file; files of /proc claim to be empty.
    if (S_ISREG(status.st_mode) && status.st_size > 0 && mFd != STDIN_FILENO) {
        mSize = static_cast<uint64_t>(status.st_size);
    } else {
        readToEnd(limit);
    }
}

Content::Content(std::vector<uint8_t> bytes)
    : mSize(bytes.size()), mInMemory(true), mBytes(std::move(bytes)) {}

Content::~Content() {
    if (mFd > STDIN_FILENO) ::close(mFd);
}

void Content::open() {
    mFd = mName == "-" ? STDIN_FILENO : ::open(mName.c_str(), O_RDONLY | O_CLOEXEC);
    if (mFd < 0) fail(std::strerror(errno));
}

void Content::readToEnd(uint64_t limit) {
    ssize_t count = 0;
    do {
        mBytes.resize(mSize + std::min<uint64_t>(kPiece, limit + 1 - mSize));
        count = ::read(mFd, mBytes.data() + mSize, mBytes.size() - mSize);
        if (count < 0 && errno != EINTR) fail(std::strerror(errno));
        if (count > 0) mSize += static_cast<uint64_t>(count);
    } while (count != 0 && mSize <= limit);
    mBytes.resize(mSize);
    mInMemory = true;
}

void Content::read(uint64_t offset, void* target, size_t count) const {
    if (mInMemory) {
        if (count > 0) std::memcpy(target, mBytes.data() + offset, count);
        return;
    }
    auto* to = static_cast<uint8_t*>(target);
    while (count > 0) {
        const ssize_t done = ::pread(mFd, to, count, static_cast<off_t>(offset));
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) fail(std::strerror(errno));
        if (done == 0) fail("it became shorter while it was being read");
        to += done;
        offset += static_cast<uint64_t>(done);
        count -= static_cast<size_t>(done);
    }
}

bool Content::send(uint64_t offset, int target, uint64_t position, size_t count) const {
    auto from = static_cast<off_t>(offset);
    const auto to = static_cast<off_t>(position);
    if (mInMemory || ::lseek(target, to, SEEK_SET) != to) return false;
    const off_t end = from + static_cast<off_t>(count);
    while (from < end) {
        if (::sendfile(target, mFd, &from, static_cast<size_t>(end - from)) <= 0) return false;
    }
    return true;
}

std::vector<uint8_t> Content::whole() const {
    if (mInMemory) return mBytes;
    std::vector<uint8_t> bytes(mSize);
    read(0, bytes.data(), bytes.size());
    return bytes;
}

void Content::fail(const char* reason) const {
    const std::string name = mName == "-" ? "standard input" : inQuotes(mName);
    throw Failure(kUsage,
                  "cannot read " + name + " (" + reason + "): name a file that can be read");
}

}  // namespace lumctl
