#include <charconv>
#include <cstdint>
#include <string>
#include <vector>

#include "Collectors.h"
#include "Commands.h"
#include "Failure.h"
#include "Packing.h"
#include "Text.h"
#include "Words.h"

namespace lumctl {
namespace {

// A module that the service took is a number, whatever zeros stand in front of it.
Json numberOrText(const std::string& module) {
    uint32_t number = 0;
    const char* const end = module.data() + module.size();
    const auto [at, error] = std::from_chars(module.data(), end, number);
    return error == std::errc() && at == end ? Json(number) : Json(module);
}

}  // namespace

Report switchCampaign(const Session& session, const std::string& word, const std::string& key,
                      const std::vector<std::string>& collectors) {
    const std::string parameter = packCampaign(key, collectors);
    Client client = session.connect();
    if (client.set(word, parameter) != 0) {
        throw Failure(kRefused, "the service refused " + inQuotes(parameter) + " for " + word +
                                        ": its log tells why");
    }
    return {{{"command", word}, {"key", key}, {"collectors", collectors}},
            word + " " + printable(parameter) + " was handed over\n"};
}

Report switchModule(const Session& session, const std::string& word, const std::string& module) {
    requireText("module number", module);
    Client client = session.connect();
    if (client.set(word, module) != 0) {
        throw Failure(kRefused, "the service refused module " + inQuotes(module) +
                                        ": give it a number from 0 to 2147483647, digits alone");
    }
    return {{{"command", word}, {"module", numberOrText(module)}},
            word + " " + printable(module) + " was handed over\n"};
}

Report moduleStatus(const Session& session, const std::string& module) {
    const std::string query = packModuleQuery(module);
    Client client = session.connect();
    const std::string status = ask(&client, query);
    return {{{"module", numberOrText(module)}, {"status", status}}, status + "\n"};
}

Report collectors(const Session& session) {
    Client client = session.connect();
    return collectorsReport(ask(&client, "collectorsState"));
}

}  // namespace lumctl
