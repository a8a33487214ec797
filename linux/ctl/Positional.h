#pragma once

#include <CLI/CLI.hpp>

namespace lumctl {

// An argument that has to be there, and whose value outlives the parsing.
template <typename Value>
CLI::Option* addPositional(CLI::App* command, const char* name, Value& value,
                           const char* description) {
    return command->add_option(name, value, description)->required()->type_name("");
}

}  // namespace lumctl
