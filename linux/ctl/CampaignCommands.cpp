#include <string>
#include <vector>

#include "Collectors.h"
#include "Commands.h"
#include "Failure.h"
#include "Packing.h"
#include "Text.h"
#include "Words.h"

namespace lumctl {

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
    return {{{"command", word}, {"module", module}},
            word + " " + printable(module) + " was handed over\n"};
}

Report moduleStatus(const Session& session, const std::string& module) {
    const std::string query = packModuleQuery(module);
    Client client = session.connect();
    const std::string status = ask(client, query);
    return {{{"module", module}, {"status", status}}, status + "\n"};
}

Report collectors(const Session& session) {
    Client client = session.connect();
    return collectorsReport(ask(client, "collectorsState"));
}

}  // namespace lumctl
