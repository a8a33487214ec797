#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "Device.h"
#include "Failure.h"
#include "Storing.h"
#include "Text.h"
#include "Words.h"

namespace lumctl {
namespace {

constexpr uint64_t kLittleRoom = uint64_t{16} * 1024 * 1024;

struct Finding {
    std::string check;
    bool isGood;
    std::string detail;
};

// Runs each check, which returns what it found or fails with what to do.
class Examination {
  public:
    bool check(const std::string& name, const std::function<std::string()>& look) {
        try {
            mFindings.push_back({name, true, look()});
        } catch (const Failure& failure) {
            mFindings.push_back({name, false, failure.what()});
            ++mBad;
        }
        return mFindings.back().isGood;
    }
    Report report() const;

  private:
    std::vector<Finding> mFindings;
    size_t mBad = 0;
};

Report Examination::report() const {
    Report report;
    std::vector<Row> rows;
    Json checks = Json::array();
    for (const Finding& each : mFindings) {
        rows.push_back({each.isGood ? "ok" : "WRONG", each.check, printable(each.detail)});
        checks.push_back({{"check", each.check}, {"ok", each.isGood}, {"detail", each.detail}});
    }
    const std::string sum =
            std::to_string(mBad) + " of " + std::to_string(mFindings.size()) + " checks failed";
    report.status = mBad == 0 ? kDone : kRefused;
    report.json = {{"ok", mBad == 0}, {"checks", checks}};
    if (mBad != 0) report.json.update(Json({{"error", sum}, {"status", report.status}}));
    report.text = table(rows) + (mBad == 0 ? "Everything is in order.\n" : sum + ".\n");
    return report;
}

std::string wholeRoot(const Session& session) {
    session.enterDevice();
    for (const char* part : {"/data/vendor", "/dev/socket/binder"}) {
        struct stat status = {};
        if (::stat(onDevice(part).c_str(), &status) == 0) continue;
        throw Failure(kUsage, placeName() + " has no " + part + ": name a device root with --root");
    }
    return placeName();
}

std::string sameInterface(Client* client) {
    const std::string version = "version " + std::to_string(client->interfaceVersion());
    const std::string hash = client->interfaceHash();
    if (hash == ILumvndhal::hash) return version + ", hash " + hash;
    throw Failure(kRefused, version + " with the hash " + hash +
                                    " is not what lumctl was built with: use the lumctl that was "
                                    "built with this service");
}

std::string chipsetNodes(Client* client) {
    std::string text = ask(client, "CHIPSET_SERIAL");
    const size_t plus = text.find('+');
    const std::string serial = plus == std::string::npos ? "" : text.substr(plus + 1);
    if (text.front() != '-' && serial != "-" && serial != "000000000") return text;
    throw Failure(kRefused, inQuotes(text) +
                                    " has placeholders: see that soc_id and serial_number in "
                                    "/sys/devices/soc0 can be read and are not too short");
}

// The count is 0 for a file that cannot be read, too: only where the file is seen that can be told.
std::string resetCount(Client* client) {
    constexpr char kFile[] = "/mnt/vendor/persist/lum/frc.dat";
    std::string text = ask(client, "LUMTR_VERSION");
    const bool isZero = text.size() >= 2 && text.compare(text.size() - 2, 2, ".0") == 0;
    if (!isZero || ::access(onDevice(kFile).c_str(), R_OK) == 0) return text;
    throw Failure(kRefused, inQuotes(text) + " ends in a count of 0, for want of " +
                                    onDevice(kFile) + ": write the number of resets into it");
}

std::string roomOnDisk() {
    const std::optional<uint64_t> free = freeBytesAt("/");
    if (!free) return "cannot be seen from here";
    std::string left = byteCount(static_cast<double>(*free)) + " free";
    if (*free >= kLittleRoom) return left;
    throw Failure(kRefused, "only " + left + ": remove what is not needed, with lumctl rm");
}

// Makes a directory of its own in the dropbox, stores two files there, and leaves nothing behind.
void examineDropbox(const Session& session, Client* client, Examination* examination) {
    const std::string path = "/lumctl-doctor-" + std::to_string(::getpid());
    const Content content(std::vector<uint8_t>(4096, 'x'));
    const auto stores = [&](Transport transport) {
        return [&, transport] {
            store(session, client, path + "/" + nameOf(transport), transport, content);
            return std::string("stored 4 KiB");
        };
    };
    if (!examination->check("directory", [&] {
            makeDirectories(client, path, false);
            return "made " + path;
        })) {
        return;
    }
    examination->check("file", stores(Transport::kCall));
    examination->check("queue", stores(Transport::kQueue));
    examination->check("removal", [&] {
        removeTree(session, path, false);
        return "removed " + path;
    });
}

void examineService(const Session& session, Examination* examination) {
    std::optional<Client> service;
    const bool answers = examination->check("service", [&] {
        service.emplace(session.instance).ping();
        return inQuotes(session.instance) + " answers";
    });
    if (!answers) return;
    Client& client = *service;
    examination->check("interface", [&] { return sameInterface(&client); });
    examination->check("build id", [&] { return ask(&client, "BUILDID"); });
    examination->check("version", [&] { return resetCount(&client); });
    examination->check("chipset", [&] { return chipsetNodes(&client); });
    examineDropbox(session, &client, examination);
}

}  // namespace

Report doctor(const Session& session) {
    Examination examination;
    if (examination.check("root", [&] { return wholeRoot(session); })) {
        examineService(session, &examination);
        examination.check("disk", roomOnDisk);
    }
    return examination.report();
}

}  // namespace lumctl
