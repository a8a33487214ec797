#include <sys/utsname.h>

#include <cstdlib>

#include "Means.h"

namespace launcher {

namespace fs = std::filesystem;

namespace {

fs::path findLibrary() {
    utsname machine = {};
    ::uname(&machine);
    const std::string directories[] = {"/usr/lib/" + std::string(machine.machine) + "-linux-gnu",
                                       "/usr/lib64", "/usr/lib"};
    for (const fs::path directory : directories) {
        fs::path library = directory / "fakechroot/libfakechroot.so";
        if (fs::exists(library)) return library;
    }
    return {};
}

// What is loaded in front of it lies with this project's libraries, in a build or in an
// installation.
fs::path findMkdir() {
    const fs::path top = fs::read_symlink("/proc/self/exe").parent_path().parent_path();
    for (const char* directory : {"lib", "lib/lumvndhal"}) {
        fs::path library = top / directory / "lumvndhal-root-mkdir.so";
        if (fs::exists(library)) return library;
    }
    return {};
}

// What stays the machine's. The library takes at most 100 paths, so of /dev only the devices that
// programs use are named.
std::string listOfMachinePaths(const Scene& scene) {
    std::string list = "/dev/fd:/dev/stdin:/dev/stdout:/dev/stderr";
    for (const auto& each : machineEntries()) list += ":" + each.string();
    for (const char* each : kDevices) list += std::string(":") + each;
    for (const auto& each : scene.shown) list += ":" + each.string();
    return list;
}

// The value in front of which, with the separator, the variable's present value is put.
std::string behindPresent(const char* variable, const std::string& value) {
    const char* present = std::getenv(variable);
    return present == nullptr || *present == '\0' ? value : std::string(present) + ":" + value;
}

}  // namespace

// AddressSanitizer refuses to start behind another preloaded library unless told that it is meant.
std::optional<Entrance> enterByFakechroot(const Scene& scene) {
    const std::string library = findLibrary();
    if (library.empty()) return std::nullopt;
    std::string preloaded = library;
    if (const std::string first = findMkdir(); !first.empty()) preloaded = first + ":" + preloaded;
    if (const char* others = std::getenv("LD_PRELOAD")) preloaded.append(":").append(others);
    return Entrance{{{"LD_PRELOAD", preloaded},
                     {"FAKECHROOT_BASE", scene.root},
                     {"FAKECHROOT_EXCLUDE_PATH", listOfMachinePaths(scene)},
                     {"ASAN_OPTIONS", behindPresent("ASAN_OPTIONS", "verify_asan_link_order=0")}},
                    {}};
}

}  // namespace launcher
