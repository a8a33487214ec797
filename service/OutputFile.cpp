#include "OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include "Log.h"

namespace aidl::vendor::tav::lumvndhal_aidl {

OutputFile::OutputFile(const std::string& path) : mPath(path) {
    if (path.empty()) {
        LUM_LOGE("[ERROR] Path is not correct");
        return;
    }
    mFd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (mFd < 0) LUM_LOGE("[ERROR] Can't open output file");
}

OutputFile::~OutputFile() {
    if (mFd >= 0) ::close(mFd);
}

bool OutputFile::write(const void* data, size_t count) {
    const ssize_t written = ::write(mFd, data, count);
    if (written >= 0 && static_cast<size_t>(written) == count) return true;
    LUM_LOGE("[ERROR] Failed to write file");
    ::unlink(mPath.c_str());
    return false;
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
