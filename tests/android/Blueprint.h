#pragma once

#include <map>
#include <string>
#include <variant>
#include <vector>

// Reads Android.bp files: as much of the format as a file without conditions and arithmetic has.
namespace blueprint {

struct Value;
using List = std::vector<Value>;
using Map = std::map<std::string, Value>;

struct Value {
    std::variant<bool, int, std::string, List, Map> is;

    // What it is, or std::bad_variant_access.
    const std::string& text() const { return std::get<std::string>(is); }
    const List& list() const { return std::get<List>(is); }
    const Map& map() const { return std::get<Map>(is); }
    // The texts of a list of texts.
    std::vector<std::string> texts() const;
};

struct Module {
    std::string type;
    Map properties;

    std::string name() const { return properties.at("name").text(); }
    bool has(const std::string& property) const { return properties.count(property) != 0; }
    const Value& operator[](const std::string& property) const { return properties.at(property); }
};

// The modules of a file in their order. Throws std::runtime_error that tells the line and what is
// wrong there: bad syntax, a property given twice, a variable without a value, a module without a
// name.
std::vector<Module> parse(const std::string& text);

}  // namespace blueprint
