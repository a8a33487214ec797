#include "SourceTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

namespace fs = std::filesystem;

namespace sources {

static const fs::path kRoot = SOURCE_DIR;

bool exists(const std::string& path) {
    return fs::exists(kRoot / path);
}

std::string read(const std::string& path) {
    std::ifstream file(kRoot / path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path << " is missing";
    return {std::istreambuf_iterator<char>(file), {}};
}

Texts namesIn(const std::string& folder, const std::string& ending) {
    Texts names;
    for (const auto& entry : fs::directory_iterator(kRoot / folder)) {
        const std::string name = entry.path().filename();
        if (std::regex_search(name, std::regex(ending + "$"))) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<blueprint::Module> modules() {
    Texts folders = namesIn("", "");
    folders.emplace_back();
    std::vector<blueprint::Module> modules;
    for (const std::string& folder : folders) {
        const std::string path = fs::path(folder) / "Android.bp";
        if (!exists(path)) continue;
        for (blueprint::Module& module : blueprint::parse(read(path))) {
            module["folder"] = folder;
            modules.push_back(module);
        }
    }
    return modules;
}

blueprint::Module module(const std::string& name) {
    for (const blueprint::Module& each : modules()) {
        if (each.at("name") == name) return each;
    }
    ADD_FAILURE() << "no Android.bp has a module " << name;
    return {};
}

Texts findAll(const std::string& path, const std::string& pattern) {
    const std::string text = read(path);
    const std::regex regex(pattern);
    return {std::sregex_token_iterator(text.begin(), text.end(), regex, 1), {}};
}

std::string find(const std::string& path, const std::string& pattern) {
    const Texts found = findAll(path, pattern);
    EXPECT_FALSE(found.empty()) << path << " holds nothing like " << pattern;
    for (const std::string& each : found) EXPECT_EQ(each, found.front()) << path;
    return found.empty() ? "" : found.front();
}

bool holds(const std::string& path, const std::string& text) {
    return read(path).find(text) != std::string::npos;
}

}  // namespace sources
