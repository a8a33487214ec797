#include <chrono>
#include <string>
#include <vector>

#include "Commands.h"
#include "Content.h"
#include "Dropbox.h"
#include "Failure.h"
#include "Limits.h"
#include "Packing.h"
#include "Text.h"
#include "Transfer.h"

namespace lumctl {
namespace {

bool store(Client& client, const std::string& path, Transport transport, const Content& content) {
    return transport == Transport::kCall ? client.writeFile(path, content.whole())
                                         : storeThroughQueue(client, path, content);
}

Report stored(const std::string& path, Transport transport, uint64_t size, double seconds) {
    const double rate = seconds > 0 ? static_cast<double>(size) / seconds : 0;
    const std::string via = transport == Transport::kCall ? "call" : "queue";
    Report report;
    report.json = {{"path", path},
                   {"bytes", size},
                   {"via", via},
                   {"seconds", seconds},
                   {"bytes_per_second", rate}};
    report.text = printable(path) + ": " + std::to_string(size) + " bytes through the " + via +
                  " in " + duration(seconds) + " (" + byteCount(rate) + "/s)\n";
    return report;
}

}  // namespace

Report makeDirectory(const Session& session, const std::string& path, bool parents) {
    requirePath(path);
    Client client = session.connect();
    for (const std::string& step : parents ? withParents(path) : std::vector<std::string>{path}) {
        if (client.updateDropbox(step, true) != 0) throw notMade(step, parents);
    }
    return {Json::object({{"path", path}}), printable(path) + " is there\n"};
}

Report removeTree(const Session& session, const std::string& path, bool all) {
    requirePath(path);
    if (isWholeDropbox(path) && !all) {
        throw Failure(kUsage, inQuotes(path) + " is the whole dropbox: say --all to remove it");
    }
    Client client = session.connect();
    if (client.updateDropbox(path, false) != 0) throw notRemoved(path);
    return {Json::object({{"path", path}}),
            printable(path) + ": whatever could be removed is gone\n"};
}

Report put(const Session& session, const std::string& file, const std::string& path,
           Transport wanted) {
    requirePath(path);
    const Content content(file, maxFileSize(wanted, path));
    const Transport transport = chooseTransport(wanted, path, content.size());
    Client client = session.connect();
    const auto start = std::chrono::steady_clock::now();
    if (!store(client, path, transport, content)) throw notStored(path);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    return stored(path, transport, content.size(), time.count());
}

}  // namespace lumctl
