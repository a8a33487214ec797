#pragma once

#include <deque>
#include <string>

#include "TreeLevel.h"

namespace aidl::vendor::tav::lumvndhal_aidl {

// Removes a directory tree, as far as that can be done. Used by one thread.
//
// It walks by descriptors: a tree may be deeper than a path can be long, and a directory that
// somebody exchanges for a link meanwhile is not entered. It needs neither stack nor descriptors
// for the depth of the tree, two descriptors being enough, but memory for the names on the way.
class TreeRemoval {
  public:
    explicit TreeRemoval(const char* path) : mTop(path), mPath(path) {}

    // At most once.
    void run();

  private:
    void enter(DIR* directory) { mLevels.emplace_back(directory, mPath.size()); }
    void leave();
    void remove(const TreeLevel::Entry& entry);
    void removeDirectory(const char* name);
    DIR* open(const char* name);
    bool suspendOne();

    const char* const mTop;
    std::string mPath;  // of the innermost level
    std::deque<TreeLevel> mLevels;
    size_t mSuspended = 0;  // levels from the top on that are closed; never the innermost one
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
