#include "Files.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace support {
namespace {

[[noreturn]] void failOn(const std::string& path) {
    std::perror((path + " (is this run inside a device root?)").c_str());
    std::abort();
}

std::string processFolder(int pid) {
    return "/proc/" + (pid == 0 ? "self" : std::to_string(pid));
}

}  // namespace

void makeDirectories(const std::string& path) noexcept {
    fs::create_directories(path);
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

bool exists(const std::string& path) noexcept {
    return fs::exists(fs::symlink_status(path));
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

void removeAll(const std::string& path) noexcept {
    fs::remove_all(path);
}

size_t openDescriptors(int pid) {
    std::error_code gone;
    const fs::directory_iterator all(processFolder(pid) + "/fd", gone);
    return static_cast<size_t>(std::distance(begin(all), end(all)));
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
    return with != nullptr && std::string(with) == "bubblewrap";
}

}  // namespace support
