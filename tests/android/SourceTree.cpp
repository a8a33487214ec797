#include "SourceTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>

namespace fs = std::filesystem;

namespace sources {
namespace {

const fs::path kRoot = SOURCE_DIR;

bool endsWith(const std::string& text, const std::string& ending) {
    return text.size() >= ending.size() &&
           text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

}  // namespace

bool exists(const std::string& path) {
    return fs::exists(kRoot / path);
}

std::string read(const std::string& path) {
    std::ifstream file(kRoot / path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path << " is missing";
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> namesIn(const std::string& folder, const std::string& ending) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(kRoot / folder)) {
        if (endsWith(entry.path().filename(), ending)) names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> blueprintFolders() {
    std::vector<std::string> folders;
    for (const auto& entry : fs::directory_iterator(kRoot)) {
        const std::string name = entry.path().filename();
        if (fs::exists(entry.path() / "Android.bp") && name != "build") folders.push_back(name);
    }
    if (exists("Android.bp")) folders.emplace_back();
    std::sort(folders.begin(), folders.end());
    return folders;
}

std::vector<blueprint::Module> modulesIn(const std::string& folder) {
    const std::string path = (fs::path(folder) / "Android.bp").string();
    try {
        return blueprint::parse(read(path));
    } catch (const std::runtime_error& error) {
        ADD_FAILURE() << path << ", " << error.what();
        return {};
    }
}

blueprint::Module module(const std::string& name, std::string* folder) {
    for (const std::string& each : blueprintFolders()) {
        for (const blueprint::Module& one : modulesIn(each)) {
            if (one.name() != name) continue;
            if (folder != nullptr) *folder = each;
            return one;
        }
    }
    ADD_FAILURE() << "no Android.bp has a module " << name;
    return {};
}

std::vector<std::string> findAll(const std::string& path, const std::string& pattern) {
    const std::string text = read(path);
    const std::regex regex(pattern);
    std::vector<std::string> found;
    for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it) {
        found.push_back((*it)[1]);
    }
    return found;
}

std::string find(const std::string& path, const std::string& pattern) {
    const std::vector<std::string> found = findAll(path, pattern);
    if (found.empty()) {
        ADD_FAILURE() << path << " holds nothing like " << pattern;
        return {};
    }
    for (const std::string& each : found) EXPECT_EQ(each, found.front()) << path;
    return found.front();
}

bool holds(const std::string& path, const std::string& text) {
    return read(path).find(text) != std::string::npos;
}

}  // namespace sources
