#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "Failure.h"
#include "Text.h"
#include "Words.h"

namespace lumctl {
namespace {

constexpr char kBuildId[] = "BUILDID";
constexpr char kVersion[] = "LUMTR_VERSION";
constexpr char kChipset[] = "CHIPSET_SERIAL";

struct Chipset {
    std::string socId;
    std::string serial;
};

// The first '+' separates: of the two, a soc id is the one without.
Chipset splitChipset(const std::string& text) {
    const size_t plus = text.find('+');
    if (plus == std::string::npos) return {text, ""};
    return {text.substr(0, plus), text.substr(plus + 1)};
}

Json chipsetJson(const std::string& text) {
    const Chipset chipset = splitChipset(text);
    return {{"text", text}, {"soc_id", chipset.socId}, {"serial", chipset.serial}};
}

// A device without a build identifier has its other facts all the same.
std::optional<std::string> buildIdOf(Client* client) {
    try {
        return ask(client, kBuildId);
    } catch (const Failure& failure) {
        if (failure.status() != kRefused) throw;
        return std::nullopt;
    }
}

Report fact(const Session& session, const char* word, const char* name) {
    Client client = session.connect();
    const std::string text = ask(&client, word);
    return {Json::object({{name, text}}), text + "\n"};
}

}  // namespace

Report info(const Session& session) {
    Client client = session.connect();
    const std::optional<std::string> buildId = buildIdOf(&client);
    const std::string version = ask(&client, kVersion);
    const std::string text = ask(&client, kChipset);
    const Chipset chipset = splitChipset(text);
    Report report;
    report.json = {{"build_id", buildId ? Json(*buildId) : Json(nullptr)},
                   {"version", version},
                   {"chipset", chipsetJson(text)}};
    report.text = table({{"build id", printable(buildId.value_or("not available"))},
                         {"version", printable(version)},
                         {"soc id", printable(chipset.socId)},
                         {"serial number", printable(chipset.serial)}});
    return report;
}

Report buildId(const Session& session) {
    return fact(session, kBuildId, "build_id");
}

Report version(const Session& session) {
    return fact(session, kVersion, "version");
}

Report chipset(const Session& session) {
    Client client = session.connect();
    const std::string text = ask(&client, kChipset);
    return {chipsetJson(text), text + "\n"};
}

}  // namespace lumctl
