#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "Commands.h"
#include "Positional.h"
#include "Subcommands.h"

namespace lumctl {
namespace {

struct DirectoryArguments {
    std::string path;
    bool flag = false;
};

void addMakeDirectory(CLI::App* app, Command* chosen) {
    auto arguments = std::make_shared<DirectoryArguments>();
    CLI::App* command = addCommand(app, "mkdir", "Make a directory in the dropbox");
    addPositional(command, "PATH", arguments->path, "Directory, as /traces");
    command->add_flag("-p,--parents", arguments->flag, "Make the directories above it as well");
    addNote(command, "A directory that is there already counts as made.");
    choose(command, chosen, [=](const Session& session) {
        return makeDirectory(session, arguments->path, arguments->flag);
    });
}

void addRemove(CLI::App* app, Command* chosen) {
    auto arguments = std::make_shared<DirectoryArguments>();
    CLI::App* command =
            addCommand(app, "rm", "Remove a directory of the dropbox with all it holds");
    addPositional(command, "PATH", arguments->path, "Directory, as /traces");
    command->add_flag("--all", arguments->flag,
                      "Allow / for PATH, which empties the whole dropbox");
    addNote(command,
            "The service removes directories, not a PATH that is a file. rm --all / may remove "
            "the\n"
            "dropbox itself; mkdir / makes it again.");
    choose(command, chosen, [=](const Session& session) {
        return removeTree(session, arguments->path, arguments->flag);
    });
}

struct PutArguments {
    std::string file;
    std::string path;
    std::string via;
    bool isTree = false;

    Transport transport() const {
        if (via.empty()) return Transport::kEither;
        return via == "call" ? Transport::kCall : Transport::kQueue;
    }
};

void addPut(CLI::App* app, Command* chosen) {
    auto arguments = std::make_shared<PutArguments>();
    CLI::App* command = addCommand(app, "put", "Store a file in the dropbox, or a directory");
    addPositional(command, "FILE", arguments->file, "Local file, or - for standard input");
    addPositional(command, "PATH", arguments->path, "File in the dropbox, as /traces/t1.bin");
    command->add_flag("-r,--recursive", arguments->isTree,
                      "Store the directory FILE with all it holds as PATH");
    const auto isTransport = [](const std::string& value) {
        return value == "call" || value == "queue" ? "" : "it is either call or queue";
    };
    command->add_option("--via", arguments->via, "Force the transport of the bytes")
            ->check(isTransport)
            ->type_name("call|queue");
    addNote(command,
            "Up to 512 KiB travel in the call, more through a queue in shared memory. The service\n"
            "has one queue: storing through it ends another client's use of it.");
    choose(command, chosen, [=](const Session& session) {
        const auto store = arguments->isTree ? putTree : put;
        return store(session, arguments->file, arguments->path, arguments->transport());
    });
}

void addStatistics(CLI::App* app, Command* chosen) {
    auto file = std::make_shared<std::string>();
    CLI::App* command = addCommand(app, "netstats", "Store a block of network statistics");
    addPositional(command, "FILE", *file, "Local file, or - for standard input");
    addNote(command, "The payload travels as a text behind its length; both must be valid UTF-8.");
    choose(command, chosen,
           [=](const Session& session) { return storeStatistics(session, *file); });
}

}  // namespace

void addDropboxSubcommands(CLI::App* app, Command* chosen) {
    addMakeDirectory(app, chosen);
    addRemove(app, chosen);
    addPut(app, chosen);
    addStatistics(app, chosen);
}

}  // namespace lumctl
