#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "Inside.h"
#include "Means.h"

namespace launcher {

// The launcher's own failures, as with env(1) and timeout(1); 126 and 127 are the command's.
constexpr int kLauncherFailed = 125;

// SIGHUP, SIGINT, SIGQUIT and SIGTERM are blocked while the launcher runs and wait until the
// command can take them. Their dispositions are never changed: what was ignored when the launcher
// was started (nohup, a shell's background job) stays ignored in the command.
void blockSignals();
void unblockSignals();

// Becomes the program; returns when it cannot.
void execute(const std::vector<std::string>& words);

// A command that runs inside the root.
class Process {
  public:
    // Empty when that entrance is closed here; *why is then what it says about it.
    static std::optional<Process> start(const Entrance& entrance, Inside inside, std::string* why);

    // Hands signals on until the command ends: its exit status, 128+N when signal N ended it.
    int await() const;

  private:
    Process(pid_t child, pid_t command) : mChild(child), mCommand(command) {}

    pid_t mChild;    // the means, which ends as the command does
    pid_t mCommand;  // the command itself; the same where nothing stands between
};

}  // namespace launcher
