#include "OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "Log.h"

namespace aidl::vendor::tav::lumvndhal_aidl {

bool writeAll(int fd, const void* data, size_t count) {
    const char* next = static_cast<const char*>(data);
    while (count > 0) {
        const ssize_t written = ::write(fd, next, count);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        next += written;
        count -= static_cast<size_t>(written);
    }
    return true;
}

OutputFile::OutputFile(std::string path) : mPath(std::move(path)) {
    if (mPath.empty()) {
        LUM_LOGE("[ERROR] Path is not correct");
        return;
    }
    mFd = ::open(mPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (mFd < 0) LUM_LOGE("[ERROR] Can't open output file");
}

bool OutputFile::write(const void* data, size_t count) {
    const bool whole = writeAll(mFd, data, count);
    close();
    if (whole) return true;
    LUM_LOGE("[ERROR] Failed to write file");
    ::unlink(mPath.c_str());
    return false;
}

void OutputFile::close() {
    if (mFd >= 0) ::close(mFd);
    mFd = -1;
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
