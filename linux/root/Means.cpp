#include "Means.h"

#include <algorithm>
#include <stdexcept>

namespace launcher {

namespace fs = std::filesystem;

namespace {

constexpr const char* kCovered[] = {"/data", "/vendor", "/mnt", "/sys"};

bool isCovered(const fs::path& entry) {
    return std::find(std::begin(kCovered), std::end(kCovered), entry) != std::end(kCovered);
}

// The first two components: the directory of /data, /vendor, /mnt or /sys that holds the path.
fs::path topOf(const fs::path& path) {
    auto component = path.begin();
    fs::path top = *component;
    for (int i = 0; i < 2 && ++component != path.end(); ++i) top /= *component;
    return top;
}

bool rootHas(const fs::path& top) {
    return top == "/data/vendor" || top == "/vendor/firmware_mnt" || top == "/mnt/vendor" ||
           top == "/sys/devices";
}

}  // namespace

std::vector<fs::path> machineEntries() {
    std::vector<fs::path> entries;
    for (const auto& entry : fs::directory_iterator("/")) {
        if (!isCovered(entry.path()) && entry.path() != "/dev") entries.push_back(entry.path());
    }
    return entries;
}

std::vector<fs::path> findHidden(const std::vector<fs::path>& paths) {
    std::vector<fs::path> hidden;
    for (const auto& path : paths) {
        const fs::path top = topOf(path);
        if (!isCovered(top.parent_path())) continue;
        if (rootHas(top)) {
            throw std::runtime_error(path.string() +
                                     " cannot be reached from inside: the root has a " +
                                     top.string() + " of its own");
        }
        if (std::find(hidden.begin(), hidden.end(), top) == hidden.end()) hidden.push_back(top);
    }
    return hidden;
}

}  // namespace launcher
