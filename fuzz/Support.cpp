#include "Support.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace fs = std::filesystem;

namespace fuzz {
namespace {

// Tried for real: what Landlock refuses, access() allows.
bool canWriteTo(const std::string& directory) {
    const std::string probe = directory + "/.fuzz-probe";
    const int file = ::open(probe.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) return false;
    ::close(file);
    ::unlink(probe.c_str());
    return true;
}

bool isDropbox(const fs::path& path) {
    return path.native().rfind(support::kDropbox, 0) == 0;
}

// All places where something could be made or changed by mistake. A directory changes with the
// names in it.
constexpr const char* kOutside[] = {"/data",
                                    "/data/other",
                                    "/data/other/file",
                                    "/data/vendor/other",
                                    "/data/vendor/other/file",
                                    "/vendor",
                                    "/vendor/firmware_mnt",
                                    "/vendor/firmware_mnt/verinfo",
                                    "/vendor/firmware_mnt/verinfo/ver_info.txt",
                                    "/mnt",
                                    "/mnt/vendor",
                                    "/mnt/vendor/persist",
                                    "/mnt/vendor/persist/lum",
                                    "/mnt/vendor/persist/lum/frc.dat",
                                    "/sys",
                                    "/sys/devices",
                                    "/sys/devices/soc0",
                                    "/sys/devices/soc0/soc_id",
                                    "/sys/devices/soc0/serial_number",
                                    "/dev/__properties__",
                                    "/dev/__properties__/vendor.tav.lum.frc.disable",
                                    "/dev/socket",
                                    "/dev/socket/binder"};

// The directory that the dropbox itself comes and goes in has no other entry than this.
bool hasOneBesideDropbox() {
    const auto names = support::namesIn("/data/vendor");
    return std::count_if(names.begin(), names.end(),
                         [](const auto& name) { return name.rfind("lum", 0) != 0; }) == 1;
}

// Gives all of them a time of modification that no change leaves.
void stampOutside() {
    const timespec longAgo[2] = {{1, 0}, {1, 0}};
    for (const char* path : kOutside) ::utimensat(AT_FDCWD, path, longAgo, AT_SYMLINK_NOFOLLOW);
}

void requireStamp(const char* path) {
    struct stat status = {};
    const bool isThere = ::lstat(path, &status) == 0;
    require(!isThere || status.st_mtime == 1,
            std::string("it was changed, outside of the dropbox: ") + path);
}

}  // namespace

void require(bool holds, const std::string& sentence) {
    if (holds) return;
    std::fprintf(stderr, "rule broken: %s\n", sentence.c_str());
    std::abort();
}

void requireLog(const support::LogLines& actual, support::LogLines expected) {
    for (auto& line : expected) line.text.resize(std::min<size_t>(line.text.size(), 1023));
    if (actual == expected) return;
    std::ostringstream sentence;
    sentence << "these lines are expected first, those logged come behind";
    for (const auto& line : expected) sentence << "\n  " << line;
    for (const auto& line : actual) sentence << "\n    " << line;
    require(false, sentence.str());
}

Watch::Watch() : mDescriptors(support::openDescriptors()) {
    stampOutside();
}

Watch::~Watch() {
    for (const char* path : kOutside) requireStamp(path);
    require(hasOneBesideDropbox(), "what is beside the dropbox is there, and nothing else");
    require(support::openDescriptors() == mDescriptors, "as many descriptors are open as before");
}

ClientMemory::ClientMemory(size_t size)
    : mSize(size),
      mFd(::memfd_create("client", MFD_CLOEXEC | MFD_ALLOW_SEALING)),
      mBytes(::ftruncate(fd(), static_cast<off_t>(size)) != 0
                     ? nullptr
                     : static_cast<char*>(::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED,
                                                 fd(), 0))) {
    require(mBytes != MAP_FAILED && ::fcntl(fd(), F_ADD_SEALS, F_SEAL_SHRINK) == 0, "memory");
}

// The seal against writing is refused while there is a mapping that could write.
ClientMemory::~ClientMemory() {
    ::munmap(mBytes, mSize);
    require(::fcntl(fd(), F_ADD_SEALS, F_SEAL_WRITE) == 0, "a client's memory is let go");
}

void resetDropbox() {
    for (const auto& entry : fs::directory_iterator("/data/vendor")) {
        if (isDropbox(entry.path())) fs::remove_all(entry.path());
    }
    support::makeDirectories(std::string(support::kDropbox) + "/shared/1503");
}

}  // namespace fuzz

// Nothing is run where a fault in what is under test could reach more than a device root.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    bool inside = std::getenv("DEVICE_ROOT_DIR") != nullptr;
    for (const char* directory : {"/usr", "/etc", "/home", "/var"}) {
        inside = inside && !fuzz::canWriteTo(directory);
    }
    if (!inside) {
        std::fprintf(stderr, "a fuzzer runs inside linux/root/run alone (see ./dev fuzz)\n");
        std::exit(2);
    }
    ::setenv("ANDROID_LOG_TAGS", "FMQ:S", 1);  // which says why it refuses what is to be refused
    support::writeFile("/data/other/file", "not the dropbox's");
    support::writeFile("/data/vendor/other/file", "neither");
    return 0;
}
