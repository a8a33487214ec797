#include <array>
#include <charconv>
#include <limits>
#include <string>
#include <vector>

#include "Commands.h"
#include "Content.h"
#include "Failure.h"
#include "Suggestion.h"
#include "Text.h"
#include "Transfer.h"

// The methods of the interface as they are: arguments go as they were typed, and what comes back is
// shown without a judgement on it.

namespace lumctl {
namespace {

// More than any call carries: that it fails then can be tried, too.
constexpr uint64_t kLargest = 16 * kMaxRequest;

using Arguments = std::vector<std::string>;

int32_t numberOf(const std::string& text) {
    int32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc() && at == end) return number;
    throw Failure(kUsage, inQuotes(text) + " is no number from -2147483648 to 2147483647");
}

bool truthOf(const std::string& text) {
    if (text == "true" || text == "false") return text == "true";
    throw Failure(kUsage, inQuotes(text) + " is neither true nor false");
}

Report resultReport(const Json& result) {
    return {Json::object({{"result", result}}), table({{"result", result.dump()}})};
}

Report configure(const Session& session, const Arguments& arguments) {
    const int32_t size = numberOf(arguments[0]);
    if (size < 1) throw Failure(kUsage, "a queue takes a size of at least 1 byte");
    const Content content = arguments.size() < 2
                                    ? Content(std::vector<uint8_t>())
                                    : Content(arguments[1], static_cast<uint64_t>(size));
    if (content.size() > static_cast<uint64_t>(size)) {
        throw Failure(kUsage, inQuotes(arguments[1]) + " does not fit into a queue of " +
                                      std::to_string(size) + " bytes: make it larger");
    }
    Client client = session.connect();
    return resultReport(attachFilledQueue(&client, static_cast<size_t>(size), content));
}

Report requestRead(const Session& session, const Arguments& arguments) {
    const int32_t count = numberOf(arguments[1]);
    return resultReport(session.connect().requestRead(arguments[0], count));
}

Report getVndData(const Session& session, const Arguments& arguments) {
    const Answer answer = session.connect().get(arguments[0]);
    const std::string size = std::to_string(answer.data.data_size);
    return {{{"result", answer.result},
             {"vnd_data", {{"data_size", answer.data.data_size}, {"data", answer.data.data}}}},
            table({{"result", std::to_string(answer.result)},
                   {"data_size", size},
                   {"data", printable(answer.data.data)}})};
}

Report setVndData(const Session& session, const Arguments& arguments) {
    return resultReport(session.connect().set(arguments[0], arguments[1]));
}

Report updateVendorDropbox(const Session& session, const Arguments& arguments) {
    const bool create = truthOf(arguments[1]);
    return resultReport(session.connect().updateDropbox(arguments[0], create));
}

Report writeDataToVendorDropbox(const Session& session, const Arguments& arguments) {
    const Content content(arguments[1], kLargest);
    if (content.size() > kLargest) throw Failure(kUsage, "not even a call that fails is so large");
    const int32_t length =
            arguments.size() < 3 ? static_cast<int32_t>(content.size()) : numberOf(arguments[2]);
    return resultReport(session.connect().writeFile(arguments[0], content.whole(), length));
}

struct Method {
    std::string name;
    std::string arguments;  // for people
    size_t least;
    size_t most;
    Report (*call)(const Session&, const Arguments&);
};

const std::array<Method, 6>& methods() {
    static const std::array<Method, 6> all = {{
            {"configure", "SIZE [FILE]", 1, 2, configure},
            {"request_read", "PATH COUNT", 2, 2, requestRead},
            {"get_vnd_data", "CMD", 1, 1, getVndData},
            {"set_vnd_data", "CMD PARAM", 2, 2, setVndData},
            {"update_vendor_dropbox", "PATH true|false", 2, 2, updateVendorDropbox},
            {"write_data_to_vendor_dropbox", "PATH FILE [LENGTH]", 2, 3, writeDataToVendorDropbox},
    }};
    return all;
}

const Method& methodOf(const std::string& name) {
    std::vector<std::string> names;
    for (const Method& method : methods()) {
        if (method.name == name) return method;
        names.push_back(method.name);
    }
    const std::string near = suggestion(name, names);
    throw Failure(kUsage, "the interface has no method " + inQuotes(name) +
                                  (near.empty() ? ": see lumctl call --help" : near));
}

}  // namespace

Report callMethod(const Session& session, const std::string& name, const Arguments& arguments) {
    const Method& method = methodOf(name);
    if (arguments.size() < method.least || arguments.size() > method.most) {
        throw Failure(kUsage, "type lumctl call " + name + " " + method.arguments);
    }
    Report report = method.call(session, arguments);
    Json named = {{"method", name}};
    named.update(report.json);
    report.json = std::move(named);
    return report;
}

}  // namespace lumctl
