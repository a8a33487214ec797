#include "Inside.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "DeviceRoot.h"
#include "Landlock.h"
#include "Means.h"
#include "Process.h"

namespace launcher {
namespace {

// Whether the root is where it belongs.
bool isInside(const std::string& root) {
    struct stat outside = {};
    struct stat here = {};
    return ::stat((root + "/data").c_str(), &outside) == 0 && ::stat("/data", &here) == 0 &&
           outside.st_dev == here.st_dev && outside.st_ino == here.st_ino;
}

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::vector<std::string> writablePaths(const Inside& inside) {
    std::vector<std::string> paths = inside.writable;
    for (const char* each : {"/data", "/vendor", "/mnt", "/sys", "/dev"}) {
        paths.emplace_back(each);
    }
    paths.insert(paths.end(), std::begin(kDevices), std::end(kDevices));
    return paths;
}

void say(const Inside& inside, const std::string& line) {
    if (!inside.quiet) std::fprintf(stderr, "device: %s\n", line.c_str());
}

void protectMachine(const Inside& inside) {
    const bool isProtected = inside.landlock && allowWritingOnlyBelow(writablePaths(inside));
    if (isProtected || inside.readOnlyMounts) return;
    say(inside,
        "nothing keeps the command from writing to the machine's own files: there are neither "
        "mounts nor Landlock");
}

}  // namespace

std::vector<std::string> toArguments(const Inside& inside) {
    std::vector<std::string> words = {kInsideWord,
                                      std::to_string(inside.report),
                                      std::to_string(inside.errors),
                                      inside.landlock ? "1" : "0",
                                      inside.readOnlyMounts ? "1" : "0",
                                      inside.quiet ? "1" : "0",
                                      std::to_string(inside.writable.size())};
    words.insert(words.end(), inside.writable.begin(), inside.writable.end());
    words.insert(words.end(), inside.command.begin(), inside.command.end());
    return words;
}

Inside fromArguments(int argc, char** argv) {
    if (argc < 9) return {};
    Inside inside;
    inside.report = static_cast<int>(std::strtol(argv[2], nullptr, 10));
    inside.errors = static_cast<int>(std::strtol(argv[3], nullptr, 10));
    inside.landlock = *argv[4] == '1';
    inside.readOnlyMounts = *argv[5] == '1';
    inside.quiet = *argv[6] == '1';
    char** const command = argv + 8 + std::strtol(argv[7], nullptr, 10);
    inside.writable.assign(argv + 8, command);
    inside.command.assign(command, argv + argc);
    return inside;
}

int becomeCommand(const Inside& inside) {
    ::dup2(inside.errors, STDERR_FILENO);
    ::close(inside.errors);
    const std::string root = variable("DEVICE_ROOT_DIR");
    if (!isInside(root)) return kLauncherFailed;
    say(inside, variable("DEVICE_WITH") + ", root " + root);
    protectMachine(inside);
    const pid_t self = ::getpid();
    if (::write(inside.report, &self, sizeof(self)) != sizeof(self)) return kLauncherFailed;
    ::close(inside.report);
    unblockSignals();
    execute(inside.command);
    std::fprintf(stderr, "lumvndhal-root: %s: %s\n", inside.command[0].c_str(),
                 std::strerror(errno));
    return errno == ENOENT ? 127 : 126;
}

}  // namespace launcher
