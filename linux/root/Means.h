#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Options.h"

namespace launcher {

// What is shown where while a command runs.
struct Scene {
    std::filesystem::path root;
    std::filesystem::path directory;  // the current one, kept
    // What of the machine can be written all the same.
    std::vector<std::filesystem::path> writable;
    // Directories of the machine that the root would hide: see findHidden.
    std::vector<std::filesystem::path> shown;
    std::vector<SmallFileSystem> tmpfs;
    bool readOnlyMounts = true;
};

// How to start a program inside the root: with these variables and these words in front.
struct Entrance {
    std::vector<std::pair<std::string, std::string>> variables;
    std::vector<std::string> words;
};

// The devices that programs use, where /dev is not a small one of its own.
constexpr const char* kDevices[] = {"/dev/null",   "/dev/zero",    "/dev/full",
                                    "/dev/random", "/dev/urandom", "/dev/tty",
                                    "/dev/ptmx",   "/dev/pts",     "/dev/shm"};

// A private mount namespace; everything but the mounts is shared with the machine.
Entrance enterByBubblewrap(const Scene& scene);
// For where no namespace can be made: libfakechroot, preloaded into the command and everything it
// starts, rewrites path names on their way into the C library. Empty when it is not installed.
std::optional<Entrance> enterByFakechroot(const Scene& scene);

// The entries of / that the root does not replace.
std::vector<std::filesystem::path> machineEntries();

// The root covers the machine's own /data, /vendor, /mnt and /sys. Where one of the paths lies
// there, the directory directly below that holds it is to be shown inside as well. Throws
// std::runtime_error when the root has a directory of that name itself.
std::vector<std::filesystem::path> findHidden(const std::vector<std::filesystem::path>& paths);

}  // namespace launcher
