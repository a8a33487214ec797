#include "Help.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "Failure.h"
#include "Suggestion.h"
#include "Text.h"

namespace lumctl {
namespace {

class HelpFormatter : public CLI::Formatter {
  public:
    std::string make_footer(const CLI::App* app) const override {
        const CLI::App* top = app;
        while (top->get_parent() != nullptr) top = top->get_parent();
        if (top == app) return Formatter::make_footer(app);
        const auto isCommon = [](const CLI::Option* option) {
            return option->get_group() == kCommonOptions;
        };
        const std::string note = Formatter::make_footer(app);
        return make_group(kCommonOptions, false, top->get_options(isCommon)) +
               (note.empty() ? "" : "\n" + note);
    }
};

// The subcommand that the command line got to.
const CLI::App* reached(const CLI::App& app) {
    const CLI::App* at = &app;
    while (!at->get_subcommands().empty()) at = at->get_subcommands().front();
    return at;
}

// As a person types it.
std::string nameOf(const CLI::App* command) {
    const CLI::App* const parent = command->get_parent();
    return (parent == nullptr ? "" : nameOf(parent) + " ") + command->get_name();
}

std::vector<std::string> commandsOf(const CLI::App* app) {
    std::vector<std::string> names;
    for (const CLI::App* each : app->get_subcommands(nullptr)) names.push_back(each->get_name());
    return names;
}

std::vector<std::string> optionsOf(const CLI::App* command) {
    std::vector<std::string> names;
    for (const CLI::App* at = command; at != nullptr; at = at->get_parent()) {
        for (const CLI::Option* option : at->get_options()) {
            for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
        }
    }
    return names;
}

std::string unknownWord(const std::string& word, const std::vector<std::string>& known) {
    return "there is no " + inQuotes(word) + suggestion(word, known);
}

// By the formatter, because an app that has parsed a subcommand shows the help of that one.
Report helpReport(const CLI::App* command) {
    const std::string text = command->get_formatter()->make_help(command, nameOf(command),
                                                                 CLI::AppFormatMode::Normal);
    return {Json::object({{"help", text}}), text};
}

}  // namespace

void shapeHelp(CLI::App* app) {
    app->formatter(std::make_shared<HelpFormatter>());
}

Report helpFor(const CLI::App& app, const std::vector<std::string>& words) {
    const CLI::App* command = &app;
    for (const std::string& word : words) {
        const std::vector<std::string> known = commandsOf(command);
        if (std::find(known.begin(), known.end(), word) == known.end()) {
            throw Failure(kUsage,
                          unknownWord(word, known) + "; see " + nameOf(command) + " --help");
        }
        command = command->get_subcommand(word);
    }
    return helpReport(command);
}

Report helpOf(const CLI::App& app) {
    return helpReport(reached(app));
}

Report versionReport() {
    return {{{"version", LUMCTL_VERSION},
             {"interface_version", ILumvndhal::version},
             {"interface_hash", ILumvndhal::hash}},
            "lumctl " LUMCTL_VERSION " (interface version " + std::to_string(ILumvndhal::version) +
                    ", hash " + ILumvndhal::hash + ")\n"};
}

std::string whatIsWrong(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App* const command = reached(app);
    const std::vector<std::string> rest = app.remaining(true);
    std::string what = error.what();
    // Without a subcommand, what is left over is the word that was meant to be one.
    if (!rest.empty() && rest.front() != "--") {
        const bool isOption = rest.front().front() == '-';
        const bool isCommand = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
        if (isOption) what = unknownWord(rest.front(), optionsOf(command));
        if (!isOption && isCommand) what = unknownWord(rest.front(), commandsOf(command));
    }
    return what + "; see " + nameOf(command) + " --help";
}

}  // namespace lumctl
