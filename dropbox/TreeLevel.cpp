#include "TreeLevel.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

bool isSelfOrParent(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

const dirent* readEntry(DIR* stream) {
    const dirent* entry = ::readdir(stream);
    while (entry != nullptr && isSelfOrParent(entry->d_name)) entry = ::readdir(stream);
    return entry;
}

}  // namespace

TreeLevel::TreeLevel(DIR* stream, size_t pathLength)
    : mPathLength(pathLength), mStream(stream), mFd(::dirfd(stream)) {}

TreeLevel::Entry TreeLevel::next() {
    if (mStream == nullptr) return nextKept();
    const dirent* entry = readEntry(mStream);
    if (entry == nullptr) return {nullptr, false};
    return {entry->d_name, entry->d_type == DT_DIR};
}

void TreeLevel::suspend() {
    struct stat status = {};
    ::fstat(mFd, &status);
    mDevice = status.st_dev;
    mInode = status.st_ino;
    if (mStream != nullptr) keepEntries();
    close();
}

bool TreeLevel::resume(const TreeLevel& child) {
    mFd = ::openat(child.mFd, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct stat status = {};
    return mFd >= 0 && ::fstat(mFd, &status) == 0 && status.st_dev == mDevice &&
           status.st_ino == mInode;
}

void TreeLevel::close() {
    if (mStream != nullptr) {
        ::closedir(mStream);
    } else if (mFd >= 0) {
        ::close(mFd);
    }
    mStream = nullptr;
    mFd = -1;
}

void TreeLevel::keepEntries() {
    while (const dirent* entry = readEntry(mStream)) {
        mKept += entry->d_type == DT_DIR ? 'd' : '-';
        mKept.append(entry->d_name).push_back('\0');
    }
}

TreeLevel::Entry TreeLevel::nextKept() {
    if (mNextKept == mKept.size()) return {nullptr, false};
    const char* entry = mKept.c_str() + mNextKept;
    mNextKept += std::strlen(entry) + 1;
    return {entry + 1, *entry == 'd'};
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
