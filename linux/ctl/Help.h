#pragma once

#include <string>
#include <vector>

#include "Session.h"

namespace CLI {
class App;
class Formatter;
class ParseError;
}  // namespace CLI

namespace lumctl {

// The group of the options that all commands share; every help shows it.
constexpr char kCommonOptions[] = "Options of all commands";

// Makes the helps of `app` and of what is added to it afterwards show the common options.
void shapeHelp(CLI::App* app);

// The help of the command that the words lead to. Failure when they lead to none.
Report helpFor(const CLI::App& app, const std::vector<std::string>& words);

// A help, or the version, that was asked for instead of a command.
Report helpOf(const CLI::App& app);
Report versionReport();

// What is wrong with a command line, in a sentence that says where to look.
std::string whatIsWrong(const CLI::App& app, const CLI::ParseError& error);

}  // namespace lumctl
