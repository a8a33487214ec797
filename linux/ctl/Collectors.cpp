#include "Collectors.h"

#include <vector>

#include "Text.h"

namespace lumctl {
namespace {

// The member of an object, or null; engines differ in what they leave out.
Json member(const Json& object, const char* name) {
    return object.is_object() && object.contains(name) ? object[name] : Json();
}

std::string cell(const Json& value) {
    if (value.is_null()) return "-";
    return printable(value.is_string() ? value.get<std::string>() : value.dump());
}

std::string joined(const Json& values) {
    if (!values.is_array()) return cell(values);
    std::string text;
    for (const Json& value : values) text += (text.empty() ? "" : ", ") + cell(value);
    return text;
}

std::string campaignTable(const Json& campaigns) {
    if (campaigns.empty()) return "No campaign is running.\n";
    std::vector<Row> rows{{"CAMPAIGN", "COLLECTORS"}};
    for (const Json& campaign : campaigns) {
        rows.push_back({cell(member(campaign, "key")), joined(member(campaign, "collectors"))});
    }
    return table(rows);
}

std::string moduleTable(const Json& modules) {
    if (modules.empty()) return "No module is on.\n";
    std::vector<Row> rows{{"MODULE", "STATE"}};
    for (const Json& module : modules) {
        const Json on = member(module, "on");
        rows.push_back({cell(member(module, "id")),
                        on.is_boolean() ? (on.get<bool>() ? "on" : "off") : cell(on)});
    }
    return table(rows);
}

}  // namespace

Report collectorsReport(const std::string& state) {
    Json json = Json::parse(state, nullptr, false);
    const Json campaigns = member(json, "campaigns");
    const Json modules = member(json, "modules");
    std::string text;
    if (campaigns.is_array()) text += campaignTable(campaigns);
    if (modules.is_array()) text += (text.empty() ? "" : "\n") + moduleTable(modules);
    if (text.empty()) text = state + "\n";
    if (json.is_discarded()) json = Json::object({{"text", state}});
    return {std::move(json), std::move(text)};
}

}  // namespace lumctl
