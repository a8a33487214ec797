#pragma once

#include <string>
#include <vector>

#include "Blueprint.h"

// The files of this project, by their paths from its root. What is missing or ambiguous fails the
// test that asks, and gives an empty text.
namespace sources {

std::string read(const std::string& path);
bool exists(const std::string& path);
// The names of the files in a folder that end so, sorted.
std::vector<std::string> namesIn(const std::string& folder, const std::string& ending);
// The folders that hold an Android.bp, "" for the root, sorted.
std::vector<std::string> blueprintFolders();
// The modules of a folder's Android.bp.
std::vector<blueprint::Module> modulesIn(const std::string& folder);
// The module of that name, wherever it is. `folder`, if given, receives where.
blueprint::Module module(const std::string& name, std::string* folder = nullptr);

// What the group of the pattern matches in the file; every match must be of the same text.
std::string find(const std::string& path, const std::string& pattern);
// All of that, in the order of the file.
std::vector<std::string> findAll(const std::string& path, const std::string& pattern);
bool holds(const std::string& path, const std::string& text);

}  // namespace sources
