#pragma once

#include "Session.h"

namespace CLI {
class App;
}

namespace lumctl {

// Adds all subcommands to `app`; each prints its report when the command line that names it is
// parsed. The session is filled in by then, and must outlive the app.
void addSubcommands(CLI::App& app, const Session& session);

}  // namespace lumctl
