#include <android/binder_manager.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Commands.h"
#include "Device.h"
#include "Failure.h"
#include "Text.h"

namespace lumctl {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
constexpr auto kLookAgain = std::chrono::milliseconds(20);

void collectName(const char* instance, void* names) {
    static_cast<std::vector<std::string>*>(names)->emplace_back(instance);
}

bool answers(const std::string& instance) {
    try {
        Client(instance).ping();
        return true;
    } catch (const Failure&) {
        return false;
    }
}

// A declared instance need not run: on a device the manifest names it, elsewhere a service that was
// killed leaves its endpoint behind.
std::string stateOfInstance(const std::string& instance) {
    const std::optional<Absence> absence = absenceOf(instance);
    if (absence == Absence::kLeftBehind) return "left behind";
    if (absence) return stateOf(*absence);
    return answers(instance) ? "running" : "does not answer";
}

std::vector<double> roundTrips(Client* client, unsigned count) {
    std::vector<double> times;
    for (unsigned i = 0; i < count; ++i) {
        const auto start = Clock::now();
        client->ping();
        times.push_back(Seconds(Clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return times;
}

}  // namespace

Report list(const Session& session) {
    session.enterDevice();
    std::vector<std::string> names;
    AServiceManager_forEachDeclaredInstance(ILumvndhal::descriptor, &names, collectName);
    Report report{Json::array(), ""};
    std::vector<Row> rows{{"INSTANCE", "STATE"}};
    for (const std::string& name : names) {
        const std::string state = stateOfInstance(name);
        report.json.push_back(
                {{"instance", name}, {"running", state == "running"}, {"state", state}});
        rows.push_back({printable(name), state});
    }
    report.text = names.empty() ? "There is no instance in " + placeName() + ".\n" : table(rows);
    return report;
}

Report ping(const Session& session, unsigned count) {
    Client client = session.connect();
    const int32_t version = client.interfaceVersion();
    const std::string hash = client.interfaceHash();
    const std::vector<double> times = roundTrips(&client, count);
    const double median = times[times.size() / 2];
    const bool same = hash == ILumvndhal::hash;
    Report report;
    report.json = {{"instance", session.instance}, {"interface_version", version},
                   {"interface_hash", hash},       {"hash_is_ours", same},
                   {"round_trips", count},         {"min_seconds", times.front()},
                   {"median_seconds", median}};
    report.text =
            table({{"instance", printable(session.instance)},
                   {"interface version", std::to_string(version)},
                   {"interface hash", printable(hash)},
                   {"", same ? "the one that lumctl was built with"
                             : "not the one that lumctl was built with (" + ILumvndhal::hash + ")"},
                   {"round trip", "at best " + duration(times.front()) + ", median " +
                                          duration(median) + ", of " + std::to_string(count)}});
    return report;
}

Report wait(const Session& session, double seconds) {
    session.enterDevice();
    const auto start = Clock::now();
    while (!answers(session.instance)) {
        if (Seconds(Clock::now() - start).count() >= seconds) throw noService(session.instance);
        std::this_thread::sleep_for(kLookAgain);
    }
    const double time = Seconds(Clock::now() - start).count();
    return {{{"instance", session.instance}, {"seconds", time}},
            printable(session.instance) + " answers after " + duration(time) + "\n"};
}

}  // namespace lumctl
