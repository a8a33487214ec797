#include <chrono>
#include <string>
#include <vector>

#include "Commands.h"
#include "Content.h"
#include "Device.h"
#include "Dropbox.h"
#include "Failure.h"
#include "Packing.h"
#include "Storing.h"
#include "Text.h"

namespace lumctl {
namespace {

Failure noDirectory(const std::string& path) {
    return {kRefused, isSeenAsFile(path)
                              ? inQuotes(path) +
                                        " is a file, and the service removes directories alone: "
                                        "remove the one it is in, or store over it"
                              : "the service finds no directory " + inQuotes(path) +
                                        ": there is nothing, or a file"};
}

Report removed(Client* client, const std::string& path) {
    const bool isLeft = client->isDirectory(path);
    if (isLeft && !isWholeDropbox(path)) {
        throw Failure(kRefused, inQuotes(path) +
                                        " is still there: something in it could not be "
                                        "removed, or came back meanwhile");
    }
    Report report{Json::object({{"path", path}, {"removed", !isLeft}}),
                  printable(path) + " is removed\n"};
    if (isLeft) report.text = "The dropbox was emptied, as far as could be; itself it stays\n";
    if (!isLeft && isWholeDropbox(path)) {
        report.text = "The dropbox is removed; lumctl mkdir / makes it again\n";
    }
    return report;
}

}  // namespace

Report makeDirectory(const Session& session, const std::string& path, bool parents) {
    requirePath(path);
    Client client = session.connect();
    makeDirectories(&client, path, parents);
    return {Json::object({{"path", path}}), printable(path) + " is there\n"};
}

Report removeTree(const Session& session, const std::string& path, bool all) {
    requirePath(path);
    if (isWholeDropbox(path) && !all) {
        throw Failure(kUsage, inQuotes(path) + " is the whole dropbox: say --all to remove it");
    }
    Client client = session.connect();
    const bool wasThere = client.isDirectory(path);
    if (client.updateDropbox(path, false) != 0) throw whyNotRemoved(path);
    if (!wasThere) throw noDirectory(path);
    return removed(&client, path);
}

Report put(const Session& session, const std::string& file, const std::string& path,
           Transport wanted) {
    requirePath(path);
    const Content content(file, maxFileSize(wanted, path));
    chooseTransport(wanted, path, content.size());  // before anything is sent
    Client client = session.connect();
    const auto start = std::chrono::steady_clock::now();
    const std::string via = nameOf(store(session, &client, path, wanted, content));
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    const double rate = static_cast<double>(content.size()) / time.count();
    return {{{"path", path},
             {"bytes", content.size()},
             {"via", via},
             {"seconds", time.count()},
             {"bytes_per_second", rate}},
            printable(path) + ": " + std::to_string(content.size()) + " bytes through the " + via +
                    " in " + duration(time.count()) + " (" + byteCount(rate) + "/s)\n"};
}

}  // namespace lumctl
