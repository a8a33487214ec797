#include "Subcommands.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "Help.h"
#include "Positional.h"

namespace lumctl {
namespace {

// A number in a range, told in words.
template <typename Number>
std::function<std::string(const std::string&)> between(Number least, Number most,
                                                       const char* inWords) {
    return [=](const std::string& text) {
        Number number = 0;
        const bool isNumber = CLI::detail::lexical_cast(text, number);
        return isNumber && number >= least && number <= most ? std::string() : inWords;
    };
}

void addInstanceCommands(CLI::App* app, Command* chosen) {
    choose(addCommand(app, "list", "Show the instances of the service and whether they run"),
           chosen, list);

    auto count = std::make_shared<unsigned>(10);
    CLI::App* command =
            addCommand(app, "ping", "Call the service: interface version, hash, round trip");
    command->add_option("-c,--count", *count, "Round trips to measure (default: 10)")
            ->check(between(1U, 100000U, "it takes a number from 1 to 100000"))
            ->type_name("N");
    choose(command, chosen, [=](const Session& session) { return ping(session, *count); });

    auto seconds = std::make_shared<double>(30);
    command = addCommand(app, "wait", "Wait until the service answers");
    addPositional(command, "SECONDS", *seconds, "At most so many seconds (default: 30)")
            ->required(false)
            ->check(between(0.0, 86400.0, "it takes a number from 0 to 86400"));
    choose(command, chosen, [=](const Session& session) { return wait(session, *seconds); });

    command = addCommand(app, "doctor", "Find out what is wrong, by really trying everything");
    addNote(command,
            "Stores two small files in a directory of its own and removes it. One of them goes\n"
            "through a queue, which ends another client's use of the service's only one.");
    choose(command, chosen, doctor);
}

void addFactCommands(CLI::App* app, Command* chosen) {
    choose(addCommand(app, "info", "Show all facts about the device"), chosen, info);
    choose(addCommand(app, "build-id", "Show the build identifier of the firmware"), chosen,
           buildId);
    choose(addCommand(app, "version", "Show the service's version text and factory-reset count"),
           chosen, version);
    choose(addCommand(app, "chipset", "Show the soc id and the serial number, joined by a plus"),
           chosen, chipset);
}

// A subcommand that stands for a group of others.
CLI::App* addGroup(CLI::App* app, const char* name, const char* description) {
    return addCommand(app, name, description)->require_subcommand(1);
}

struct CampaignArguments {
    std::string key;
    std::vector<std::string> collectors;
};

CLI::Option* addCampaign(CLI::App* group, Command* chosen, const char* name, const char* word,
                         const char* description) {
    auto arguments = std::make_shared<CampaignArguments>();
    CLI::App* command = addCommand(group, name, description);
    addPositional(command, "KEY", arguments->key, "The campaign's key, without ';'");
    choose(command, chosen, [=](const Session& session) {
        return switchCampaign(session, word, arguments->key, arguments->collectors);
    });
    return addPositional(command, "COLLECTOR", arguments->collectors,
                         "Names of collectors, without ';' and ','");
}

template <typename Run>
void addModule(CLI::App* group, Command* chosen, const char* name, const char* description,
               Run run) {
    auto module = std::make_shared<std::string>();
    CLI::App* command = addCommand(group, name, description);
    addPositional(command, "N", *module, "Module number, 0 to 2147483647");
    choose(command, chosen, [=](const Session& session) { return run(session, *module); });
}

// What switches a module's campaign by a command word.
auto by(const char* word) {
    return [=](const Session& session, const std::string& module) {
        return switchModule(session, word, module);
    };
}

void addCampaignCommands(CLI::App* app, Command* chosen) {
    CLI::App* camp = addGroup(app, "camp", "Start or stop a data-collection campaign");
    addCampaign(camp, chosen, "start", "startCamp", "Start a campaign with its collectors");
    addCampaign(camp, chosen, "stop", "stopCamp", "Stop collectors of a campaign, or all of them")
            ->required(false);

    CLI::App* module = addGroup(app, "module", "Switch a module's campaign, or ask about it");
    addModule(module, chosen, "on", "Switch a module's campaign on", by("startModuleCamp"));
    addModule(module, chosen, "off", "Switch a module's campaign off", by("stopModuleCamp"));
    addModule(module, chosen, "status", "Show the status of a module's campaign", moduleStatus);

    CLI::App* opt = addGroup(app, "opt", "Opt in to a module's campaign, or out of it");
    addModule(opt, chosen, "in", "Opt in to a module's campaign", by("cmdOptIn"));
    addModule(opt, chosen, "out", "Opt out of a module's campaign", by("cmdOptout"));

    choose(addCommand(app, "collectors", "Show which campaigns, collectors and modules are active"),
           chosen, collectors);
}

struct WordArguments {
    std::string word;
    std::string parameter;
};

void addWordCommands(CLI::App* app, Command* chosen) {
    auto query = std::make_shared<std::string>();
    CLI::App* command = addCommand(app, "get", "Ask by a command word, sent as it stands");
    addPositional(command, "WORD", *query, "Command word");
    addNote(command,
            "Words: BUILDID, LUMTR_VERSION, CHIPSET_SERIAL, 'statusCamp;N', collectorsState.");
    choose(command, chosen, [=](const Session& session) { return getWord(session, *query); });

    auto arguments = std::make_shared<WordArguments>();
    command = addCommand(app, "set", "Send a command word and a parameter as they stand");
    addPositional(command, "WORD", arguments->word, "Command word");
    addPositional(command, "PARAM", arguments->parameter, "Its parameter; empty when left out")
            ->required(false);
    addNote(command,
            "Words: startCamp, stopCamp ('KEY;c1,c2'); startModuleCamp, stopModuleCamp,\n"
            "cmdOptIn, cmdOptout (a module number); LUMNETSTATS (see netstats).");
    choose(command, chosen, [=](const Session& session) {
        return setWord(session, arguments->word, arguments->parameter);
    });
}

struct CallArguments {
    std::string method;
    std::vector<std::string> values;
};

void addCall(CLI::App* app, Command* chosen) {
    auto arguments = std::make_shared<CallArguments>();
    CLI::App* command = addCommand(app, "call", "Call a method of the interface as it is");
    addPositional(command, "METHOD", arguments->method, "Its name");
    addPositional(command, "ARGUMENT", arguments->values, "What it takes, in its order");
    addNote(command,
            "Methods:\n"
            "  configure SIZE [FILE]             with a new queue, which FILE is written into\n"
            "  request_read PATH COUNT\n"
            "  get_vnd_data CMD\n"
            "  set_vnd_data CMD PARAM\n"
            "  update_vendor_dropbox PATH true|false\n"
            "  write_data_to_vendor_dropbox PATH FILE [LENGTH]\n"
            "FILE may be - for standard input. Nothing is checked beforehand, and every result is\n"
            "a success here: it is shown as it came.");
    command->allow_extras();  // a negative number looks like an option that is not known
    choose(command, chosen, [=](const Session& session) {
        std::vector<std::string> values = arguments->values;
        for (const std::string& extra : command->remaining()) values.push_back(extra);
        return callMethod(session, arguments->method, values);
    });
}

void addHelp(CLI::App* app, Command* chosen) {
    auto words = std::make_shared<std::vector<std::string>>();
    CLI::App* command = addCommand(app, "help", "Show how a command is used");
    addPositional(command, "COMMAND", *words, "The command; all of them when left out")
            ->required(false);
    choose(command, chosen, [=](const Session&) { return helpFor(*app, *words); });
}

}  // namespace

CLI::App* addCommand(CLI::App* app, const char* name, const char* description) {
    return app->add_subcommand(name, description);
}

void choose(CLI::App* command, Command* chosen, const Command& does) {
    command->callback([=] { *chosen = does; });
}

void addNote(CLI::App* command, const char* note) {
    command->footer(note);
}

void addSubcommands(CLI::App* app, Command* chosen) {
    addInstanceCommands(app, chosen);
    addDropboxSubcommands(app, chosen);
    addFactCommands(app, chosen);
    addCampaignCommands(app, chosen);
    addWordCommands(app, chosen);
    addCall(app, chosen);
    addHelp(app, chosen);
}

}  // namespace lumctl
