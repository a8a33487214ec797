#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "Client.h"

namespace lumctl {

using Json = ::nlohmann::ordered_json;

// What a command has found out: for programs, and for people (lines that end in a newline).
// NOLINTNEXTLINE(bugprone-exception-escape): moving the JSON does not throw
struct Report {
    Json json;
    std::string text;
};

// What the options that all commands share say.
struct Session {
    std::string instance = "default";
    std::string root;  // a device root; empty for where this process runs
    bool json = false;

    // Looks in the root that was named; to be called before instances are looked for.
    void enterDevice() const;
    // Failure when the root or the instance is not there.
    Client connect() const;
    // Prints the report as was asked for on standard output.
    void print(const Report& report) const;
};

}  // namespace lumctl
