#include <string>
#include <vector>

#include "Commands.h"
#include "Content.h"
#include "Failure.h"
#include "Limits.h"
#include "Packing.h"
#include "Text.h"
#include "Words.h"

namespace lumctl {
namespace {

std::string unknown(const std::string& word) {
    return "the word " + inQuotes(word) + " is unknown to lumctl";
}

}  // namespace

// A word that lumctl does not know is sent all the same: a newer service may know it. One that
// answers nothing does not.
Report getWord(const Session& session, const std::string& word) {
    requireText("word", word);
    Client client = session.connect();
    const Answer answer = client.get(word);
    const bool known = isKnownQuery(word);
    if (!known && answer.data.data.empty()) {
        throw Failure(kRefused, unknown(word) + "; the service answered result " +
                                        std::to_string(answer.result) +
                                        " and an empty text, as it does to words it does not "
                                        "know: see lumctl get --help");
    }
    const std::string text = textOf(word, answer);
    return {{{"word", word},
             {"known", known},
             {"result", answer.result},
             {"data_size", answer.data.data_size},
             {"data", text}},
            text + "\n"};
}

// The service answers 0 to a word that it does not know, so for those 0 is no success.
Report setWord(const Session& session, const std::string& word, const std::string& parameter) {
    requireText("word", word);
    requireText("parameter", parameter);
    Client client = session.connect();
    const int32_t result = client.set(word, parameter);
    if (!isKnownCommand(word)) {
        throw Failure(kRefused,
                      unknown(word) + "; the service answered " + std::to_string(result) +
                              (result == 0 ? ", as it does to words it does not know" : "") +
                              ": see lumctl set --help");
    }
    if (result != 0) {
        throw Failure(kRefused, "the service answered " + std::to_string(result) + " to " +
                                        inQuotes(word) +
                                        ": look at the parameter, or at the service's log");
    }
    return {{{"word", word}, {"parameter", parameter}, {"known", true}, {"result", result}}, "0\n"};
}

Report storeStatistics(const Session& session, const std::string& file) {
    const Content content(file, kMaxStatistics);
    if (content.size() > kMaxStatistics) throw tooManyStatistics(content.size());
    const std::vector<uint8_t> bytes = content.whole();
    const std::string block = packStatistics(std::string(bytes.begin(), bytes.end()));
    Client client = session.connect();
    if (client.set("LUMNETSTATS", block) != 0) {
        const char* const reason = client.isDirectory("/shared/1503")
                                           ? "most likely it may not write there"
                                           : "/shared/1503 is missing (lumctl mkdir -p "
                                             "/shared/1503 makes it)";
        throw Failure(kRefused,
                      std::string("the service could not store the statistics: ") + reason);
    }
    return {{{"path", "/shared/1503/nwstats.tmp"}, {"bytes", bytes.size()}},
            "/shared/1503/nwstats.tmp: " + std::to_string(bytes.size()) + " bytes\n"};
}

}  // namespace lumctl
