#pragma once

#include <string>
#include <vector>

#include "Blueprint.h"

// The files of this project, by their paths from its root. What is missing or ambiguous fails the
// test that asks, and gives an empty text.
namespace sources {

using Texts = std::vector<std::string>;

std::string read(const std::string& path);
bool exists(const std::string& path);
// The names of the files in a folder that end so, sorted.
Texts namesIn(const std::string& folder, const std::string& ending);

// The modules of every Android.bp; each has its "folder", "" for the root, among its properties.
std::vector<blueprint::Module> modules();
blueprint::Module module(const std::string& name);

// What the group of the pattern matches in the file; every match must be of the same text.
std::string find(const std::string& path, const std::string& pattern);
// All of that, in the order of the file.
Texts findAll(const std::string& path, const std::string& pattern);
bool holds(const std::string& path, const std::string& text);

}  // namespace sources
