#pragma once

#include <dirent.h>
#include <sys/types.h>

#include <cstddef>
#include <string>

namespace aidl::vendor::tav::lumvndhal_aidl {

// One of the directories on the way down to the one that a removal is emptying. Used by one thread.
//
// It is open from the beginning. Where descriptors run short it is closed while the removal is busy
// further down, and opened again on the way up.
class TreeLevel {
  public:
    struct Entry {
        const char* name;  // null when there are no more
        bool isDirectory;
    };

    // Owns the stream from now on. Its path is `pathLength` characters of the removal's.
    TreeLevel(DIR* stream, size_t pathLength);
    ~TreeLevel() { close(); }
    TreeLevel(const TreeLevel&) = delete;
    TreeLevel& operator=(const TreeLevel&) = delete;

    size_t pathLength() const { return mPathLength; }
    bool isOpen() const { return mFd >= 0; }
    int fd() const { return mFd; }

    // The next entry but "." and "..". The name is valid until the next call.
    Entry next();

    // Closes the directory. What is still to come of its entries is kept in memory.
    void suspend();
    // Opens it again as the parent of `child`. False when that is another directory by now, because
    // somebody has moved the child, or when it cannot be opened.
    bool resume(const TreeLevel& child);
    void close();

  private:
    void keepEntries();
    Entry nextKept();

    size_t mPathLength;
    DIR* mStream;  // null from the time on when the entries are in memory
    int mFd;       // the stream's, if there is one
    dev_t mDevice = 0;
    ino_t mInode = 0;
    std::string mKept;  // of each entry: 'd' for a directory or '-', the name, a NUL
    size_t mNextKept = 0;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
