// Whole commands, start-up included: lumctl put beside cp of the same file, and lumctl rm beside
// rm -rf of the same tree, in whatever file system the dropbox lies. Runs inside a device root.
//   command_bench LUMCTL [--quick] [WORD...]

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "Measure.h"
#include "Service.h"

namespace {

using bench::check;

std::string lumctl;

// Runs it to its end and returns the page faults that it took; ends this program when it fails.
double run(std::vector<std::string> words) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    check(::posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ) == 0,
          arguments[0]);
    ::posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    rusage usage = {};
    check(::wait4(process, &status, 0, &usage) == process && status == 0, arguments[0]);
    return static_cast<double>(usage.ru_minflt);
}

// The page faults that a process has taken so far.
double faultsOf(pid_t process) {
    std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
    std::string field;
    for (int i = 0; i < 10; ++i) stat >> field;
    return std::strtod(field.c_str(), nullptr);
}

std::string fileSystem() {
    struct statfs status = {};
    check(::statfs(bench::kDropbox, &status) == 0, "statfs");
    switch (status.f_type) {
        case 0x01021994:
            return "tmpfs";
        case 0xEF53:
            return "ext4";
        case 0x58465342:
            return "xfs";
        case 0x9123683E:
            return "btrfs";
        default:
            return "disk";
    }
}

// --- put and cp ---

struct Size {
    const char* name;
    size_t bytes;
    size_t rounds;
    size_t roundsInQuickRun;  // none where it takes too long
};
// Enough rounds for a median that does not show the first ones: in a virtual machine memory may be
// slow when it is used for the first time, because the host has to supply it.
constexpr Size kSizes[] = {{"10 KiB", 10 << 10, 100, 20},
                           {"1 MiB", 1 << 20, 60, 10},
                           {"64 MiB", 64 << 20, 20, 2},
                           {"1 GiB", 1 << 30, 7, 0}};

const std::string kSource = std::string(bench::kDropbox) + "/source";
const std::string kTarget = std::string(bench::kDropbox) + "/target";

void makeSource(size_t size) {
    std::vector<char> block(std::min(size, size_t{1} << 20));
    for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 31 + 1);
    std::ofstream file(kSource, std::ios::binary | std::ios::trunc);
    for (size_t done = 0; done < size; done += block.size()) {
        file.write(block.data(), static_cast<std::streamsize>(block.size()));
    }
    check(file.flush().good(), "writing the source");
}

void clearTarget() {
    ::unlink(kTarget.c_str());
}

void measurePut(const Size& size, pid_t service) {
    const std::string group = "put, " + fileSystem();
    const std::string name = std::string("lumctl put, ") + size.name;
    const size_t rounds = bench::scaled(size.rounds, size.roundsInQuickRun);
    if (rounds == 0 || !bench::wants(group, name)) return;
    makeSource(size.bytes);
    double clientFaults = 0;
    const double before = faultsOf(service);
    const auto samples =
            bench::takeTurns(rounds, 1,
                             {{[] {
                                   run({"cp", kSource, kTarget});
                               },
                               clearTarget},
                              {[&] {
                                   clientFaults = run({lumctl, "put", kSource, "/target"});
                               },
                               clearTarget}});
    const double serviceFaults = (faultsOf(service) - before) / static_cast<double>(rounds);
    run({"cmp", kSource, kTarget});
    bench::print({group,
                  name,
                  "this",
                  samples[1].median(),
                  samples[0].median(),
                  {{"p99", samples[1].p99()},
                   {"floor_p99", samples[0].p99()},
                   {"size", static_cast<double>(size.bytes)},
                   {"client_faults", clientFaults},
                   {"service_faults", serviceFaults}}});
    clearTarget();
    ::unlink(kSource.c_str());
}

// --- rm and rm -rf ---

constexpr size_t kRounds = 2;
constexpr size_t kShapes[] = {200, 1};  // directories that the files lie in

void makeTree(const std::string& tree, size_t directories, size_t files) {
    check(::mkdir(tree.c_str(), 0770) == 0, "mkdir");
    for (size_t i = 0; i < directories; ++i) {
        const std::string path = tree + "/" + std::to_string(i);
        check(::mkdir(path.c_str(), 0770) == 0, "mkdir");
        const int directory = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (size_t file = 0; file < files / directories; ++file) {
            const std::string name = "file" + std::to_string(file);
            ::close(::openat(directory, name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0660));
        }
        ::close(directory);
    }
}

std::string removalGroup() {
    return "removal, " + fileSystem();
}

size_t filesOfTree() {
    return bench::scaled(200000, 20000);
}

std::string removalName(size_t directories) {
    return "lumctl rm, " + std::to_string(filesOfTree()) + " files in " +
           (directories == 1 ? "one directory" : std::to_string(directories) + " directories");
}

// Of a round: the tree for rm and that for lumctl.
std::string treeOf(size_t directories, size_t round, const char* whose) {
    return "/" + std::to_string(directories) + "-" + std::to_string(round) + whose;
}

void makeTrees(size_t directories) {
    for (size_t round = 0; round < kRounds; ++round) {
        for (const char* whose : {"rm", "lumctl"}) {
            makeTree(bench::kDropbox + treeOf(directories, round, whose), directories,
                     filesOfTree());
        }
    }
}

void measureRemoval(size_t directories) {
    size_t round = 0;
    const auto samples = bench::takeTurns(
            kRounds, 1,
            {{[&] {
                 run({"rm", "-rf", bench::kDropbox + treeOf(directories, round, "rm")});
             }},
             {[&] {
                 run({lumctl, "rm", treeOf(directories, round++, "lumctl")});
             }}});
    bench::print({removalGroup(),
                  removalName(directories),
                  "this",
                  samples[1].percentile(0),
                  samples[0].percentile(0),
                  {{"files", static_cast<double>(filesOfTree())}}});
}

// All trees are made before the first is removed: ext4 takes very long to make files while it
// remembers as many that were just removed.
void measureRemovals() {
    std::vector<size_t> shapes;
    for (const size_t directories : kShapes) {
        if (bench::wants(removalGroup(), removalName(directories))) shapes.push_back(directories);
    }
    for (const size_t directories : shapes) makeTrees(directories);
    for (const size_t directories : shapes) measureRemoval(directories);
}

}  // namespace

int main(int argc, char** argv) {
    check(argc >= 2, "usage: command_bench LUMCTL [WORD...]; this");
    lumctl = argv[1];
    bench::readOptions(argc - 1, argv + 1);
    const bench::Worker serving([] { bench::serve(-1); });
    bench::connect();
    for (const Size& size : kSizes) measurePut(size, serving.pid());
    measureRemovals();
    return 0;
}
