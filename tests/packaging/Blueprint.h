#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

// Reads Android.bp files that hold modules only: no variables, sums and /* */.
namespace blueprint {

// The properties of a module, and its kind as one more, "type".
using Module = nlohmann::json;

// The modules of a file in their order. Throws nlohmann::json::exception at bad syntax.
std::vector<Module> parse(const std::string& text);

}  // namespace blueprint
