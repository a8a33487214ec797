#include "Blueprint.h"

#include <regex>

namespace blueprint {

// What makes JSON of it, one after the other.
std::vector<Module> parse(const std::string& text) {
    static const std::vector<std::pair<std::regex, std::string>> kSteps = {
            {std::regex("//[^\n]*"), ""},
            {std::regex(R"((\w+):)"), R"("$1":)"},
            {std::regex(R"((\w+)\s*\{)"), R"({"type": "$1",)"},
            {std::regex(R"(\}\s*\{)"), "}, {"},     // between two modules
            {std::regex(R"(,(\s*[}\]]))"), "$1"}};  // after the last value
    std::string json = "[" + text + "]";
    for (const auto& [pattern, by] : kSteps) json = std::regex_replace(json, pattern, by);
    return nlohmann::json::parse(json);
}

}  // namespace blueprint
