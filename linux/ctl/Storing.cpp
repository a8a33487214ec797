#include "Storing.h"

#include <csignal>
#include <cstdint>
#include <vector>

#include "Dropbox.h"
#include "Failure.h"
#include "Progress.h"
#include "Text.h"
#include "Transfer.h"

namespace lumctl {
namespace {

Interruption whileStoring(const Session& session, const std::string& path) {
    const std::string sentence = "interrupted, but the service may still store " + inQuotes(path) +
                                 ": it has all of the bytes";
    return {errorLine(sentence), errorOutput(session, 128 + SIGINT, sentence)};
}

bool storeInCall(Client* client, const std::string& path, const Content& content,
                 Progress* progress) {
    const std::vector<uint8_t> bytes = content.whole();
    progress->storing();
    const bool stored = client->writeFile(path, bytes, static_cast<int32_t>(bytes.size()));
    progress->stored();
    return stored;
}

// The service calls it made when anything at all is there.
void make(Client* client, const std::string& path) {
    if (client->updateDropbox(path, true) != 0) throw whyNotMade(client, path);
    if (client->isDirectory(path)) return;
    throw Failure(kRefused, inQuotes(path) + " is there, but is no directory: use another path");
}

}  // namespace

void makeDirectories(Client* client, const std::string& path, bool parents) {
    for (const std::string& step : parents ? withParents(path) : std::vector<std::string>{path}) {
        make(client, step);
    }
}

std::string nameOf(Transport transport) {
    return transport == Transport::kCall ? "call" : "queue";
}

Transport store(const Session& session, Client* client, const std::string& path, Transport wanted,
                const Content& content) {
    const Transport transport = chooseTransport(wanted, path, content.size());
    Progress progress(content.size(), whileStoring(session, path));
    const bool stored = transport == Transport::kCall
                                ? storeInCall(client, path, content, &progress)
                                : storeThroughQueue(client, path, content, &progress);
    if (!stored) throw whyNotStored(client, path, content.size());
    return transport;
}

}  // namespace lumctl
