#include <filesystem>

#include "DeviceRoot.h"
#include "Means.h"

namespace launcher {

namespace fs = std::filesystem;

namespace {

using Words = std::vector<std::string>;

void add(Words* words, const Words& more) {
    words->insert(words->end(), more.begin(), more.end());
}

// The machine's entries one by one onto a fresh /: binding "/" as a whole would need mount points
// such as /data on the machine, and make them there when run as root.
void addMachine(const Scene& scene, Words* words) {
    const std::string bind = scene.readOnlyMounts ? "--ro-bind" : "--bind";
    for (const auto& entry : machineEntries()) {
        if (fs::is_symlink(entry)) {
            add(words, {"--symlink", fs::read_symlink(entry), entry});
        } else {
            add(words, {bind, entry, entry});
        }
    }
}

}  // namespace

// The root directory itself is made read-only last, so that a path that lost its prefix fails as it
// would on a device. /dev/shm stays the machine's: shared memory is the same on both sides.
Entrance enterByBubblewrap(const Scene& scene) {
    Words words = {"bwrap", "--die-with-parent", "--cap-drop", "ALL"};
    addMachine(scene, &words);
    add(&words, {"--dev", "/dev", "--bind-try", "/dev/shm", "/dev/shm"});
    for (const char* part : kParts) {
        add(&words, {"--bind", scene.root / part, fs::path("/") / part});
    }
    const std::string bind = scene.readOnlyMounts ? "--ro-bind" : "--bind";
    for (const auto& each : scene.shown) add(&words, {bind, each, each});
    for (const auto& each : scene.writable) add(&words, {"--bind", each, each});
    for (const auto& each : scene.tmpfs) {
        add(&words, {"--size", each.bytes, "--tmpfs", each.path});
    }
    add(&words, {"--remount-ro", "/", "--chdir", scene.directory, "--"});
    return {{}, words};
}

}  // namespace launcher
