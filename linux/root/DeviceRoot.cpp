#include "DeviceRoot.h"

#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace launcher {

namespace fs = std::filesystem;

namespace {

// Made here and not taken from the sample, because git keeps no empty directories and a
// placeholder file would show up in the dropbox.
constexpr const char* kDirectories[] = {
        "data/vendor/lum",  "vendor/firmware_mnt/verinfo", "mnt/vendor/persist/lum",
        "sys/devices/soc0", "dev/socket/binder",           "dev/__properties__",
};

// Beside the program's own directory, in a build as in an installation.
fs::path sampleDirectory() {
    const fs::path program = fs::read_symlink("/proc/self/exe");
    return program.parent_path().parent_path() / "share/lumvndhal/sample-root";
}

// Owners are not kept: the root belongs to whoever asked for it, so the service can write to it.
void fill(const fs::path& directory, bool sample) {
    for (const char* each : kDirectories) fs::create_directories(directory / each);
    if (!sample) return;
    fs::copy(sampleDirectory(), directory, fs::copy_options::recursive);
    fs::create_directories(directory / "data/vendor/lum/shared/1503");
}

// A command may leave directories without write permission behind; removal stops at those.
void makeWritable(const fs::path& directory) {
    std::error_code ignored;
    fs::permissions(directory, fs::perms::owner_all, ignored);
    for (const auto& entry : fs::recursive_directory_iterator(directory, ignored)) {
        if (!entry.is_directory() || entry.is_symlink()) continue;
        fs::permissions(entry, fs::perms::owner_all, fs::perm_options::add, ignored);
    }
}

}  // namespace

void makeRoot(const fs::path& directory, bool sample) {
    const bool there = fs::exists(fs::symlink_status(directory));
    if (there && !fs::is_directory(directory)) {
        throw std::runtime_error(directory.string() + " exists and is no directory");
    }
    if (there && !fs::is_empty(directory)) {
        throw std::runtime_error(directory.string() + " is not empty");
    }
    fill(directory, sample);
}

fs::path temporaryDirectory() {
    const char* named = std::getenv("TMPDIR");
    return named == nullptr || *named == '\0' ? "/tmp" : named;
}

TemporaryRoot::TemporaryRoot() {
    std::string name = temporaryDirectory() / "device.XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary root can be made in " +
                                 temporaryDirectory().string());
    }
    mPath = name;
}

TemporaryRoot::TemporaryRoot(bool sample) : TemporaryRoot() {
    fill(mPath, sample);
}

TemporaryRoot::~TemporaryRoot() {
    std::error_code error;
    fs::remove_all(mPath, error);
    if (!error) return;
    makeWritable(mPath);
    fs::remove_all(mPath, error);
}

fs::path findRoot(const fs::path& directory) {
    if (!fs::is_directory(directory)) {
        throw std::runtime_error("there is no root " + directory.string());
    }
    for (const char* part : kParts) {
        if (fs::is_directory(directory / part)) continue;
        throw std::runtime_error(directory.string() + " is no device root: it has no " + part);
    }
    return fs::canonical(directory);
}

}  // namespace launcher
