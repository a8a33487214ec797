// Runs a command inside a device root; see kUsage.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "DeviceRoot.h"
#include "Inside.h"
#include "Means.h"
#include "Options.h"
#include "Process.h"

namespace fs = std::filesystem;

namespace launcher {
namespace {

// The file that the command's name stands for, or the name itself.
fs::path findProgram(const std::string& name) {
    const char* list = std::getenv("PATH");
    if (name.find('/') != std::string::npos || list == nullptr) return name;
    const std::string directories = std::string(list) + ":";
    for (size_t at = 0, end; (end = directories.find(':', at)) != std::string::npos; at = end + 1) {
        fs::path program = fs::path(directories.substr(at, end - at)) / name;
        if (::access(program.c_str(), X_OK) == 0) return program;
    }
    return name;
}

std::vector<fs::path> writableDirectories(const Options& options, const fs::path& root) {
    std::vector<fs::path> all = {root};
    for (const auto& each : options.writable) {
        if (!fs::is_directory(each)) throw std::runtime_error("there is no directory " + each);
        all.push_back(fs::canonical(each));
    }
    if (fs::is_directory(temporaryDirectory())) all.push_back(fs::canonical(temporaryDirectory()));
    return all;
}

Scene makeScene(const Options& options, const fs::path& root) {
    Scene scene;
    scene.root = root;
    scene.directory = fs::current_path();
    scene.writable = writableDirectories(options, root);
    std::vector<fs::path> needed = scene.writable;
    needed.push_back(scene.directory);
    needed.push_back(fs::read_symlink("/proc/self/exe"));
    needed.push_back(fs::weakly_canonical(fs::absolute(findProgram(options.command[0]))));
    scene.shown = findHidden(needed);
    scene.tmpfs = options.tmpfs;
    scene.readOnlyMounts = options.readOnlyMounts;
    for (const auto& each : options.tmpfs) fs::create_directories(root.string() + each.path);
    return scene;
}

void tellWhatIsMissing(const Options& options) {
    if (options.quiet) return;
    for (const auto& each : options.tmpfs) {
        std::fprintf(stderr,
                     "device: fakechroot cannot mount %s; it stays a directory of the root\n",
                     each.path.c_str());
    }
}

std::optional<Process> startByBubblewrap(const Options& options, const Scene& scene, Inside inside,
                                         std::string* why) {
    if (options.with == "fakechroot") return std::nullopt;
    ::setenv("DEVICE_WITH", "bubblewrap", 1);
    inside.readOnlyMounts = options.readOnlyMounts;
    return Process::start(enterByBubblewrap(scene), inside, why);
}

std::optional<Process> startByFakechroot(const Options& options, const Scene& scene, Inside inside,
                                         std::string* why) {
    if (options.with == "bubblewrap") return std::nullopt;
    const auto entrance = enterByFakechroot(scene);
    if (!entrance) {
        *why += std::string(why->empty() ? "" : "; ") + "fakechroot is not installed";
        return std::nullopt;
    }
    tellWhatIsMissing(options);
    ::setenv("DEVICE_WITH", "fakechroot", 1);
    inside.readOnlyMounts = false;
    return Process::start(*entrance, inside, why);
}

Process start(const Options& options, const Scene& scene) {
    Inside inside;
    inside.landlock = options.landlock;
    inside.quiet = options.quiet;
    inside.writable.assign(scene.writable.begin(), scene.writable.end());
    inside.command = options.command;
    std::string why;
    auto process = startByBubblewrap(options, scene, inside, &why);
    if (!process) process = startByFakechroot(options, scene, inside, &why);
    if (process) return *process;
    throw std::runtime_error("the root " + scene.root.string() + " cannot be entered with " +
                             options.with + (why.empty() ? "" : " (" + why + ")"));
}

void tellHowItEnded(const Options& options, int status) {
    const char* signal = status > 128 ? ::strsignal(status - 128) : nullptr;
    if (options.quiet || signal == nullptr || status > 128 + 64) return;
    std::fprintf(stderr, "device: %s was ended by signal %d (%s)\n",
                 fs::path(options.command[0]).filename().c_str(), status - 128, signal);
}

int runInRoot(const Options& options) {
    std::unique_ptr<TemporaryRoot> temporary;
    if (options.root.empty()) temporary = std::make_unique<TemporaryRoot>(options.sample);
    const fs::path root = findRoot(temporary ? temporary->path() : fs::path(options.root));
    // Which root a client outside calls into is nothing to those inside.
    ::unsetenv("ANDROID_DEVICE_ROOT");
    ::setenv("DEVICE_ROOT_DIR", root.c_str(), 1);
    const int status = start(options, makeScene(options, root)).await();
    tellHowItEnded(options, status);
    return status;
}

int run(const Options& options) {
    if (options.help) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (options.newRoot.empty()) return runInRoot(options);
    makeRoot(options.newRoot, options.sample);
    return 0;
}

}  // namespace
}  // namespace launcher

int main(int argc, char** argv) {
    using namespace launcher;
    if (argc > 1 && std::strcmp(argv[1], kInsideWord) == 0) {
        return becomeCommand(fromArguments(argc, argv));
    }
    blockSignals();
    try {
        return run(parseOptions(argc, argv));
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "lumvndhal-root: %s\n", failure.what());
        return kLauncherFailed;
    }
}
