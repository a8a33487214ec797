#include "Words.h"

#include <algorithm>
#include <array>

#include "Failure.h"
#include "Text.h"

namespace lumctl {
namespace {

constexpr std::string_view kBuildId = "BUILDID";
constexpr std::string_view kStatus = "statusCamp";
constexpr std::array<std::string_view, 3> kQueryPrefixes = {kBuildId, "LUMTR_VERSION",
                                                            "CHIPSET_SERIAL"};
constexpr std::array<std::string_view, 2> kContainedQueries = {kStatus, "collectorsState"};
constexpr std::string_view kStatistics = "LUMNETSTATS";
constexpr std::array<std::string_view, 6> kCommands = {
        "startCamp", "stopCamp", "startModuleCamp", "stopModuleCamp", "cmdOptIn", "cmdOptout"};

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool contains(std::string_view text, std::string_view word) {
    return text.find(word) != std::string_view::npos;
}

// A prefix word decides before a contained one does.
bool isStatusQuery(std::string_view command) {
    return contains(command, kStatus) &&
           std::none_of(kQueryPrefixes.begin(), kQueryPrefixes.end(),
                        [&](auto prefix) { return startsWith(command, prefix); });
}

}  // namespace

bool isKnownQuery(std::string_view command) {
    return std::any_of(kQueryPrefixes.begin(), kQueryPrefixes.end(),
                       [&](auto prefix) { return startsWith(command, prefix); }) ||
           std::any_of(kContainedQueries.begin(), kContainedQueries.end(),
                       [&](auto word) { return contains(command, word); });
}

bool isKnownCommand(std::string_view command) {
    return startsWith(command, kStatistics) ||
           std::find(kCommands.begin(), kCommands.end(), command) != kCommands.end();
}

std::string textOf(const std::string& command, const Answer& answer) {
    if (answer.result != 0) {
        throw Failure(kRefused, "the service answered " + std::to_string(answer.result) + " to " +
                                        inQuotes(command) + ": its log tells why");
    }
    if (startsWith(command, kBuildId) && answer.data.data_size < 0) {
        throw Failure(kRefused,
                      "the build identifier is not available: the device's "
                      "/vendor/firmware_mnt/verinfo/ver_info.txt is missing or names "
                      "none");
    }
    if (isStatusQuery(command) && answer.data.data == "invalid module") {
        throw Failure(kRefused, "the service takes no module from " + inQuotes(command) +
                                        ": give it a number from 0 to 2147483647, digits alone");
    }
    return answer.data.data;
}

std::string ask(Client* client, const std::string& command) {
    return textOf(command, client->get(command));
}

}  // namespace lumctl
