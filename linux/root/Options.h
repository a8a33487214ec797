#pragma once

#include <string>
#include <vector>

namespace launcher {

// An empty file system of a size, mounted at a path of the device root.
struct SmallFileSystem {
    std::string path;
    std::string bytes;
};

// What a person asks the launcher for; see kUsage.
struct Options {
    std::string root;     // empty: a fresh one
    std::string newRoot;  // make this one and end
    bool sample = false;  // what a fresh or new root holds
    std::vector<SmallFileSystem> tmpfs;
    std::vector<std::string> writable;
    std::string with = "auto";
    bool readOnlyMounts = true;
    bool landlock = true;
    bool quiet = false;
    bool help = false;
    std::vector<std::string> command;
};

extern const char kUsage[];

// Throws std::runtime_error with the reason when they make no sense.
Options parseOptions(int argc, char** argv);

}  // namespace launcher
