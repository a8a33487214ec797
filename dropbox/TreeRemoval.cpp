#include "TreeRemoval.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "Log.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

// Directories that are open at a time; a stream has a buffer of 32 KiB.
constexpr size_t kMostOpen = 32;

DIR* openBelow(int parent, const char* name) {
    const int fd = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return nullptr;
    DIR* directory = ::fdopendir(fd);
    if (directory == nullptr) ::close(fd);
    return directory;
}

bool isOutOfDescriptors() {
    return errno == EMFILE || errno == ENFILE;
}

}  // namespace

void TreeRemoval::run() {
    DIR* top = ::opendir(mTop);
    if (top == nullptr) {
        LUM_LOGD("%s is null", mTop);
        return;
    }
    enter(top);
    while (!mLevels.empty()) {
        const TreeLevel::Entry entry = mLevels.back().next();
        if (entry.name == nullptr) {
            leave();
        } else {
            remove(entry);
        }
    }
}

// What cannot be removed stays, and with it the directories above it: the results of unlink and
// rmdir are not told to the client.
void TreeRemoval::remove(const TreeLevel::Entry& entry) {
    if (entry.isDirectory) return removeDirectory(entry.name);
    ::unlinkat(mLevels.back().fd(), entry.name, 0);
}

void TreeRemoval::removeDirectory(const char* name) {
    mPath.append("/").append(name);
    DIR* directory = open(name);
    if (directory != nullptr) return enter(directory);
    LUM_LOGD("%s is null", mPath.c_str());
    mPath.resize(mLevels.back().pathLength());
}

DIR* TreeRemoval::open(const char* name) {
    if (mLevels.size() - mSuspended == kMostOpen) suspendOne();
    for (;;) {
        DIR* directory = openBelow(mLevels.back().fd(), name);
        if (directory != nullptr || !isOutOfDescriptors() || !suspendOne()) return directory;
    }
}

bool TreeRemoval::suspendOne() {
    if (mSuspended + 1 == mLevels.size()) return false;
    mLevels[mSuspended++].suspend();
    return true;
}

// Closes the innermost directory and removes it. Without a way back to the one above it, the rest
// stays.
void TreeRemoval::leave() {
    TreeLevel& child = mLevels.back();
    if (mLevels.size() == 1) {
        child.close();
        ::rmdir(mTop);
        return mLevels.clear();
    }
    TreeLevel& parent = mLevels[mLevels.size() - 2];
    if (!parent.isOpen()) {
        if (!parent.resume(child)) return mLevels.clear();
        --mSuspended;
    }
    child.close();
    ::unlinkat(parent.fd(), mPath.c_str() + parent.pathLength() + 1, AT_REMOVEDIR);
    mPath.resize(parent.pathLength());
    mLevels.pop_back();
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
