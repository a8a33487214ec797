#include "Files.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace support {
namespace {

[[noreturn]] void failOn(const std::string& path) {
    std::fprintf(stderr, "test support: %s: %s (is this run inside a device root?)\n", path.c_str(),
                 std::strerror(errno));
    std::abort();
}

std::string processFolder(int pid) {
    return "/proc/" + (pid == 0 ? "self" : std::to_string(pid));
}

}  // namespace

void makeDirectories(const std::string& path) {
    std::error_code error;
    fs::create_directories(path, error);
    if (error) failOn(path);
}

void writeFile(const std::string& path, const std::string& content) {
    makeDirectories(fs::path(path).parent_path());
    std::ofstream file(path, std::ios::binary);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    if (!file) failOn(path);
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) failOn(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool exists(const std::string& path) {
    std::error_code error;
    return fs::exists(fs::symlink_status(path, error));
}

std::vector<std::string> namesIn(const std::string& path) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(path, error)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void removeAll(const std::string& path) {
    std::error_code error;
    fs::remove_all(path, error);
    if (error) failOn(path);
}

size_t openDescriptors(int pid) {
    return namesIn(processFolder(pid) + "/fd").size();
}

size_t memoryMappings(int pid) {
    const std::string maps = readFile(processFolder(pid) + "/maps");
    return static_cast<size_t>(std::count(maps.begin(), maps.end(), '\n'));
}

size_t pagesOfMemory() {
    return std::stoul(readFile("/proc/self/statm"));
}

bool hasRealMounts() {
    const char* with = std::getenv("DEVICE_WITH");
    return with != nullptr && std::strcmp(with, "bubblewrap") == 0;
}

}  // namespace support
