#pragma once

#include <functional>

#include "Session.h"

namespace CLI {
class App;
}

namespace lumctl {

using Command = std::function<Report(const Session&)>;

// Adds all subcommands to `app`, which must outlive the command: when a command line that names one
// is parsed, `chosen` becomes what it does.
void addSubcommands(CLI::App* app, Command* chosen);

// Those of the dropbox; a part of the above.
void addDropboxSubcommands(CLI::App* app, Command* chosen);

// What both sources build subcommands from.
CLI::App* addCommand(CLI::App* app, const char* name, const char* description);
void choose(CLI::App* command, Command* chosen, const Command& does);
// A note at the end of the help.
void addNote(CLI::App* command, const char* note);

}  // namespace lumctl
