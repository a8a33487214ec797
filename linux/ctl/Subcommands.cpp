#include "Subcommands.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"

namespace lumctl {
namespace {

// The arguments of a subcommand live as long as the callback that uses them.
template <typename Arguments>
std::shared_ptr<Arguments> makeArguments() {
    return std::make_shared<Arguments>();
}

template <typename Value>
CLI::Option* addPositional(CLI::App* command, const char* name, Value& value,
                           const char* description) {
    return command->add_option(name, value, description)->required()->type_name("");
}

// A note at the end of the help, above the one that all subcommands share.
void addNote(CLI::App* command, const std::string& note) {
    command->footer(note + "\n\n" + command->get_footer());
}

void addInstanceCommands(CLI::App& app, const Session& session) {
    app.add_subcommand("list", "Show the instances of the service and whether they are running")
            ->callback([&session] { session.print(list(session)); });

    auto count = std::make_shared<unsigned>(10);
    CLI::App* command =
            app.add_subcommand("ping", "Call the service: interface version, hash, round trip");
    command->add_option("-c,--count", *count, "Round trips to measure (default: 10)")
            ->check(CLI::Range(1U, 100000U))
            ->type_name("N");
    command->callback([=, &session] { session.print(ping(session, *count)); });
}

struct DirectoryArguments {
    std::string path;
    bool flag = false;
};

void addDirectoryCommands(CLI::App& app, const Session& session) {
    auto make = makeArguments<DirectoryArguments>();
    CLI::App* command = app.add_subcommand("mkdir", "Make a directory in the dropbox");
    addPositional(command, "PATH", make->path, "Directory, as /traces");
    command->add_flag("-p,--parents", make->flag, "Make the directories above it as well");
    addNote(command,
            "Whatever is already there counts as made: the service does not tell a file from\n"
            "a directory here.");
    command->callback(
            [=, &session] { session.print(makeDirectory(session, make->path, make->flag)); });

    auto remove = makeArguments<DirectoryArguments>();
    command = app.add_subcommand("rm", "Remove a directory of the dropbox with all it holds");
    addPositional(command, "PATH", remove->path, "Directory, as /traces");
    command->add_flag("--all", remove->flag, "Allow / for PATH, which empties the whole dropbox");
    addNote(command,
            "The service removes directories, not a PATH that is a file, and does not tell\n"
            "whether everything could be removed. rm --all / may remove the dropbox itself;\n"
            "mkdir / makes it again.");
    command->callback(
            [=, &session] { session.print(removeTree(session, remove->path, remove->flag)); });
}

struct PutArguments {
    std::string file;
    std::string path;
    std::string via;

    Transport transport() const {
        if (via.empty()) return Transport::kEither;
        return via == "call" ? Transport::kCall : Transport::kQueue;
    }
};

void addPut(CLI::App& app, const Session& session) {
    auto arguments = makeArguments<PutArguments>();
    CLI::App* command = app.add_subcommand("put", "Store a file in the dropbox");
    addPositional(command, "FILE", arguments->file, "Local file, or - for standard input");
    addPositional(command, "PATH", arguments->path, "File in the dropbox, as /traces/t1.bin");
    const auto isTransport = [](const std::string& value) {
        return value == "call" || value == "queue" ? "" : "it is either call or queue";
    };
    command->add_option("--via", arguments->via, "Force the transport of the bytes")
            ->check(isTransport)
            ->type_name("call|queue");
    addNote(command,
            "Up to 512 KiB travel in the call, more through a queue in shared memory. The\n"
            "service has one queue: storing through it ends another client's use of it.");
    command->callback([=, &session] {
        session.print(put(session, arguments->file, arguments->path, arguments->transport()));
    });
}

void addFactCommands(CLI::App& app, const Session& session) {
    app.add_subcommand("info", "Show all facts about the device")->callback([&session] {
        session.print(info(session));
    });
    app.add_subcommand("build-id", "Show the build identifier of the firmware")
            ->callback([&session] { session.print(buildId(session)); });
    app.add_subcommand("version", "Show the service's version text with the factory-reset count")
            ->callback([&session] { session.print(version(session)); });
    app.add_subcommand("chipset", "Show the soc id and the serial number, joined by a plus")
            ->callback([&session] { session.print(chipset(session)); });
}

// A subcommand that stands for a group of others.
CLI::App* addGroup(CLI::App& app, const char* name, const char* description) {
    return app.add_subcommand(name, description)->require_subcommand(1);
}

struct CampaignArguments {
    std::string key;
    std::vector<std::string> collectors;
};

void addCampaign(CLI::App* group, const Session& session, const char* name, const char* word,
                 const char* description) {
    auto arguments = makeArguments<CampaignArguments>();
    CLI::App* command = group->add_subcommand(name, description);
    addPositional(command, "KEY", arguments->key, "The campaign's key, without ';'");
    addPositional(command, "COLLECTOR", arguments->collectors,
                  "Names of collectors, without ';' and ','");
    command->callback([=, &session] {
        session.print(switchCampaign(session, word, arguments->key, arguments->collectors));
    });
}

void addModule(CLI::App* group, const Session& session, const char* name, const char* word,
               const char* description) {
    auto module = makeArguments<std::string>();
    CLI::App* command = group->add_subcommand(name, description);
    addPositional(command, "N", *module, "Module number, 0 to 2147483647");
    command->callback([=, &session] { session.print(switchModule(session, word, *module)); });
}

void addModuleStatus(CLI::App* group, const Session& session) {
    auto module = makeArguments<std::string>();
    CLI::App* command = group->add_subcommand("status", "Show the status of a module's campaign");
    addPositional(command, "N", *module, "Module number, 0 to 2147483647");
    command->callback([=, &session] { session.print(moduleStatus(session, *module)); });
}

void addCampaignCommands(CLI::App& app, const Session& session) {
    CLI::App* camp = addGroup(app, "camp", "Start or stop a data-collection campaign");
    addCampaign(camp, session, "start", "startCamp", "Start a campaign with its collectors");
    addCampaign(camp, session, "stop", "stopCamp", "Stop collectors of a campaign");

    CLI::App* module = addGroup(app, "module", "Switch a module's campaign, or ask about it");
    addModule(module, session, "on", "startModuleCamp", "Switch a module's campaign on");
    addModule(module, session, "off", "stopModuleCamp", "Switch a module's campaign off");
    addModuleStatus(module, session);

    CLI::App* opt = addGroup(app, "opt", "Opt in to a module's campaign, or out of it");
    addModule(opt, session, "in", "cmdOptIn", "Opt in to a module's campaign");
    addModule(opt, session, "out", "cmdOptout", "Opt out of a module's campaign");

    app.add_subcommand("collectors", "Show which campaigns, collectors and modules are active")
            ->callback([&session] { session.print(collectors(session)); });
}

void addStatistics(CLI::App& app, const Session& session) {
    auto file = makeArguments<std::string>();
    CLI::App* command = app.add_subcommand("netstats", "Store a block of network statistics");
    addPositional(command, "FILE", *file, "Local file, or - for standard input");
    addNote(command, "The payload travels as a text behind its length; both must be valid UTF-8.");
    command->callback([=, &session] { session.print(storeStatistics(session, *file)); });
}

struct WordArguments {
    std::string word;
    std::string parameter;
};

void addWordCommands(CLI::App& app, const Session& session) {
    auto query = makeArguments<std::string>();
    CLI::App* command = app.add_subcommand("get", "Ask by a command word, sent as it stands");
    addPositional(command, "WORD", *query, "Command word");
    addNote(command,
            "Words: BUILDID, LUMTR_VERSION, CHIPSET_SERIAL, 'statusCamp;N', collectorsState.");
    command->callback([=, &session] { session.print(getWord(session, *query)); });

    auto arguments = makeArguments<WordArguments>();
    command = app.add_subcommand("set", "Send a command word and a parameter as they stand");
    addPositional(command, "WORD", arguments->word, "Command word");
    addPositional(command, "PARAM", arguments->parameter, "Its parameter; empty when left out")
            ->required(false);
    addNote(command,
            "Words: startCamp, stopCamp ('KEY;c1,c2'); startModuleCamp, stopModuleCamp,\n"
            "cmdOptIn, cmdOptout (a module number); LUMNETSTATS (see netstats).");
    command->callback([=, &session] {
        session.print(setWord(session, arguments->word, arguments->parameter));
    });
}

}  // namespace

void addSubcommands(CLI::App& app, const Session& session) {
    addInstanceCommands(app, session);
    addDirectoryCommands(app, session);
    addPut(app, session);
    addFactCommands(app, session);
    addCampaignCommands(app, session);
    addStatistics(app, session);
    addWordCommands(app, session);
}

}  // namespace lumctl
