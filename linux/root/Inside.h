#pragma once

#include <string>
#include <vector>

namespace launcher {

// What the launcher, started a second time inside the root, does before it becomes the command.
// The root, as seen from outside, and the means are in the variables that the command finds.
struct Inside {
    int report = -1;  // where its process id goes, which says that it got inside
    int errors = -1;  // what is to be the standard error
    bool landlock = true;
    bool readOnlyMounts = true;  // whether such hold already
    bool quiet = false;
    std::vector<std::string> writable;
    std::vector<std::string> command;
};

// The word by which main() knows that it is inside, and all the rest.
constexpr char kInsideWord[] = "--inside";
std::vector<std::string> toArguments(const Inside& inside);
Inside fromArguments(int argc, char** argv);

// Returns, with an exit status, only when there is no such command or no such root here.
int becomeCommand(const Inside& inside);

}  // namespace launcher
