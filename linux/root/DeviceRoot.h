#pragma once

#include <filesystem>

namespace launcher {

// The parts of a device root that are shown at their real paths.
constexpr const char* kParts[] = {"data", "vendor",     "mnt",
                                  "sys",  "dev/socket", "dev/__properties__"};

// Makes a root in a directory that does not exist or is empty: the sample, or directories alone.
// Throws std::runtime_error when it cannot.
void makeRoot(const std::filesystem::path& directory, bool sample);

// A root of the launcher's own, removed when this goes out of scope.
class TemporaryRoot {
  public:
    explicit TemporaryRoot(bool sample);
    ~TemporaryRoot();
    TemporaryRoot(const TemporaryRoot&) = delete;
    TemporaryRoot& operator=(const TemporaryRoot&) = delete;

    const std::filesystem::path& path() const { return mPath; }

  private:
    TemporaryRoot();

    std::filesystem::path mPath;
};

// The absolute path of an existing root. Throws std::runtime_error when it is none.
std::filesystem::path findRoot(const std::filesystem::path& directory);

// $TMPDIR, or /tmp.
std::filesystem::path temporaryDirectory();

}  // namespace launcher
