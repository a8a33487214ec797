#pragma once

#include <cstdint>
#include <string>

// What the command line of the hosting executable says.
struct Options {
    enum class Action { kServe, kShowHelp, kRefuse };

    Action action = Action::kServe;
    std::string version = "1.0";       // the version text that clients are told
    std::string instance = "default";  // the instance of the interface to register
    uint32_t threads = 4;              // how many calls may be taken at once
    bool trace = false;                // whether each call is written to the log
};

// Reads the command line. What is wrong with it is said on standard error (kRefuse).
Options parseOptions(int argc, char** argv);

// Prints how to call the program.
void printHelp(const char* program);
