#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "Client.h"
#include "Failure.h"

namespace lumctl {

using Json = ::nlohmann::ordered_json;

// What a command has found out: for programs, and for people (lines that end in a newline).
// NOLINTNEXTLINE(bugprone-exception-escape): moving the JSON does not throw
struct Report {
    Json json;
    std::string text;
    ExitStatus status = kDone;
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
};

// What goes to standard output: the text, or one line of JSON.
std::string outputOf(const Session& session, const Report& report);
// What a failure prints: a line on standard error, and as JSON on standard output as well.
std::string errorLine(const std::string& sentence);
std::string errorOutput(const Session& session, int status, const std::string& sentence);

}  // namespace lumctl
