#include "Dropbox.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "Device.h"
#include "Text.h"

namespace lumctl {
namespace {

bool climbs(const std::string& path) {
    return path.find("..") != std::string::npos;
}

std::vector<std::string> namesOf(std::string_view path) {
    std::vector<std::string> names;
    while (!path.empty()) {
        const size_t length = std::min(path.find('/'), path.size());
        const std::string_view name = path.substr(0, length);
        if (!name.empty() && name != ".") names.emplace_back(name);
        path.remove_prefix(std::min(length + 1, path.size()));
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

std::string whatParentLacks(const std::string& parent) {
    if (parent.empty()) return "the dropbox itself is missing; lumctl mkdir / makes it";
    if (isSeenAsFile(parent)) return inQuotes(parent) + " is a file; use another path";
    return inQuotes(parent) + " is no directory; lumctl mkdir -p " + inQuotes(parent) +
           " makes it unless a file is in its place";
}

std::string likelyReason(const std::string& path, uint64_t size) {
    const std::optional<uint64_t> free = freeBytesAt(path);
    if (!free) return "most likely the disk is full, or the service may not write there";
    const std::string left = byteCount(static_cast<double>(*free)) + " are free";
    return *free < size ? "most likely the disk is full: " + left
                        : "most likely it may not write there (" + left + " on the disk)";
}

Failure refused(const std::string& what, const std::string& path, const std::string& reason) {
    return {kRefused, "the service could not " + what + " " + inQuotes(path) + ": " + reason};
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

Failure whyNotMade(Client* client, const std::string& path) {
    if (climbs(path)) return whyNotRemoved(path);
    if (isWholeDropbox(path)) {
        return refused("make", path, "see that /data/vendor is there and it may write to it");
    }
    const std::string parent = parentOf(path);
    const bool canBeThere = client->isDirectory(parent);
    return refused("make", path, canBeThere ? likelyReason(path, 1) : whatParentLacks(parent));
}

Failure whyNotStored(Client* client, const std::string& path, uint64_t size) {
    if (climbs(path)) return whyNotRemoved(path);
    const std::string parent = parentOf(path);
    if (!client->isDirectory(parent)) return refused("store", path, whatParentLacks(parent));
    if (path.back() == '/' || client->isDirectory(path)) {
        return refused("store", path,
                       "that is a directory's name; add the file's, as in " +
                               inQuotes(path + (path.back() == '/' ? "NAME" : "/NAME")));
    }
    return refused("store", path, likelyReason(path, size));
}

// All that the service refuses to remove, whatever is there.
Failure whyNotRemoved(const std::string& path) {
    return {kRefused,
            "the service refused " + inQuotes(path) + ": a path must not contain '..' anywhere"};
}

}  // namespace lumctl
