#include "Dropbox.h"

#include <sstream>

#include "Text.h"

namespace lumctl {
namespace {

bool climbs(const std::string& path) {
    return path.find("..") != std::string::npos;
}

Failure climbing(const std::string& path) {
    return {kRefused,
            "the service refused " + inQuotes(path) + ": a path must not contain '..' anywhere"};
}

std::vector<std::string> namesOf(const std::string& path) {
    std::vector<std::string> names;
    std::istringstream stream(path);
    for (std::string name; std::getline(stream, name, '/');) {
        if (!name.empty() && name != ".") names.push_back(name);
    }
    return names;
}

// The directory that has to be there first; empty for the dropbox itself.
std::string parentOf(const std::string& path) {
    const std::vector<std::string> names = namesOf(path);
    std::string parent;
    for (size_t i = 0; i + 1 < names.size(); ++i) parent += "/" + names[i];
    return parent;
}

std::string howToMake(const std::string& directory) {
    return directory.empty() ? "the dropbox itself is missing (lumctl mkdir / makes it)"
                             : inQuotes(directory) + " is missing (lumctl mkdir -p " +
                                       inQuotes(directory) + " makes it)";
}

}  // namespace

std::vector<std::string> withParents(const std::string& path) {
    if (climbs(path)) return {path};
    std::vector<std::string> steps;
    std::string step;
    for (const std::string& name : namesOf(path)) {
        step += "/" + name;
        steps.push_back(step);
    }
    return steps.empty() ? std::vector<std::string>{path} : steps;
}

bool isWholeDropbox(const std::string& path) {
    return namesOf(path).empty();
}

Failure notMade(const std::string& path, bool parentsMade) {
    if (climbs(path)) return climbing(path);
    const std::string parent = parentOf(path);
    std::string reason = "most likely " + howToMake(parent);
    if (isWholeDropbox(path)) {
        reason = "see whether /data/vendor is there and the service may write to it";
    } else if (parentsMade && !parent.empty()) {
        reason = "most likely " + inQuotes(parent) + " is a file: use another path";
    }
    return {kRefused, "the service could not make " + inQuotes(path) + ": " + reason};
}

Failure notRemoved(const std::string& path) {
    return climbing(path);
}

Failure notStored(const std::string& path) {
    if (climbs(path)) return climbing(path);
    if (path.back() == '/') {
        return {kRefused, "the service could not store " + inQuotes(path) +
                                  ": a directory is no file, add the file's name"};
    }
    return {kRefused, "the service could not store " + inQuotes(path) + ": most likely " +
                              howToMake(parentOf(path)) + ", or " + inQuotes(path) +
                              " is a directory, or the disk is full"};
}

}  // namespace lumctl
