// Round trips of calls between two processes. The floor: two processes that send the same bytes
// each way over a plain unix stream socket and, for the writes, write the same file. Beside them,
// where they are installed, other means of calling. Runs inside a device root whose dropbox lies in
// memory.

#include <android/binder_parcel_utils.h>
#include <android/log.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "FrameSize.h"
#include "Measure.h"
#include "Peers.h"
#include "Service.h"

namespace {

using bench::check;
using bench::ILumvndhal;
using bench::LumvndhalGenericData;
using bench::Samples;
using bench::Subject;
using bench::Worker;

constexpr char kGroup[] = "call";
constexpr char kFile[] = "/data/vendor/lum/f";

struct Setting {
    const char* name;
    int serverCore;
    int clientCore;
};
constexpr Setting kSettings[] = {{"one core", 0, 0}, {"two cores", 0, 1}};

// What one call is: its bytes on the way and those of its arguments and results alone, the file
// that is written with them, and the call itself.
struct Case {
    std::string name;
    size_t requestSize;
    size_t replySize;
    size_t arguments;
    size_t results;
    size_t fileSize;
    size_t perRound;
    std::function<void(ILumvndhal&)> call;
};

void writeFile(const std::vector<char>& buffer, size_t size) {
    const int file = ::open(kFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    check(::write(file, buffer.data(), size) == static_cast<ssize_t>(size), "write");
    ::close(file);
}

void storeAndAnswer(int socket, const Case& each) {
    std::vector<char> buffer(std::max(each.requestSize, each.replySize));
    for (;;) {
        bench::receiveAll(socket, &buffer, each.requestSize);
        writeFile(buffer, each.fileSize);
        bench::sendAll(socket, buffer, each.replySize);
    }
}

void serveFloor(int socket, int core, const Case& each) {
    bench::pinTo(core);
    if (each.fileSize != 0) storeAndAnswer(socket, each);
    bench::echo(socket, each.requestSize, each.replySize);
}

Case makeCase(const std::string& name, size_t arguments, size_t results, size_t perRound,
              std::function<void(ILumvndhal&)> call) {
    return {name,
            bench::requestSize(arguments),
            bench::replySize(results),
            arguments,
            results,
            0,
            perRound,
            std::move(call)};
}

Case writeCase(const std::string& name, size_t size, size_t perRound) {
    const std::vector<uint8_t> data(size, 'x');
    const auto length = static_cast<int32_t>(size);
    Case each = makeCase(
            "write_data_to_vendor_dropbox, " + name, bench::sizeOf(std::string("/f"), data, length),
            4, perRound, [=](ILumvndhal& service) {
                bool result = false;
                check(service.write_data_to_vendor_dropbox("/f", data, length, &result).isOk() &&
                              result,
                      "a call");
            });
    each.fileSize = size;
    return each;
}

std::vector<Case> cases() {
    Case ping = makeCase("ping", 0, 0, 1000, [](ILumvndhal& service) {
        check(AIBinder_ping(service.asBinder().get()) == STATUS_OK, "a call");
    });
    ping.requestSize = ping.replySize = sizeof(standin::FrameHeader);
    return {ping,
            makeCase("get_vnd_data, unknown word", bench::sizeOf(std::string("nothing")), 24, 1000,
                     [](ILumvndhal& service) {
                         LumvndhalGenericData data;
                         int32_t result = 0;
                         check(service.get_vnd_data("nothing", &data, &result).isOk(), "a call");
                     }),
            writeCase("64 B", 64, 500), writeCase("64 KiB", size_t{64} << 10, 200)};
}

void printRow(const std::string& name, const std::string& subject, const Samples& samples,
              const Samples& floor) {
    bench::print({kGroup,
                  name,
                  subject,
                  samples.median(),
                  floor.median(),
                  {{"p99", samples.p99()}, {"floor_p99", floor.p99()}}});
}

void measureCase(const Case& each, const Setting& setting) {
    const std::string name = each.name + ", " + setting.name;
    if (!bench::wants(kGroup, name)) return;
    int ends[2];
    check(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
    const Worker echoing([&] { serveFloor(ends[1], setting.serverCore, each); });
    const Worker serving([&] { bench::serve(setting.serverCore); });
    std::vector<std::unique_ptr<bench::Peer>> peers;
    if (each.fileSize == 0)
        peers = bench::startPeers(each.arguments, each.results, setting.serverCore);
    bench::pinTo(setting.clientCore);
    const auto service = bench::connect();
    std::vector<char> buffer(std::max(each.requestSize, each.replySize));
    std::vector<Subject> subjects = {
            {[&] { bench::roundTrip(ends[0], &buffer, each.requestSize, each.replySize); }},
            {[&] { each.call(*service); }}};
    for (const auto& peer : peers) subjects.push_back({[&peer] { peer->call(); }});
    // More turns rather than longer ones: what else the machine does then falls on all alike.
    const auto samples =
            bench::takeTurns(20, bench::scaled(each.perRound, each.perRound / 10), subjects);
    ::close(ends[0]);
    ::close(ends[1]);
    printRow(name, "this", samples[1], samples[0]);
    for (size_t i = 0; i < peers.size(); ++i) {
        printRow(name, peers[i]->name(), samples[2 + i], samples[0]);
    }
}

// The same call with the VERBOSE lines written to /dev/null; the floor is the call without them.
void measureLogging() {
    const std::string name = "set_vnd_data, unknown word, one core, with VERBOSE lines";
    if (!bench::wants(kGroup, name)) return;
    const auto call = [](ILumvndhal& service) {
        int32_t result = 0;
        check(service.set_vnd_data("nothing", "", &result).isOk(), "a call");
    };
    std::vector<Samples> samples;
    for (const bool verbose : {false, true}) {
        const Worker serving([&] {
            if (verbose) __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
            bench::serve(0);
        });
        bench::pinTo(0);
        const auto service = bench::connect();
        samples.push_back(
                bench::takeTurns(1, bench::scaled(20000, 2000), {{[&] { call(*service); }}})[0]);
    }
    printRow(name, "this", samples[1], samples[0]);
}

}  // namespace

int main(int argc, char** argv) {
    bench::readOptions(argc, argv);
    for (const Case& each : cases()) {
        for (const Setting& setting : kSettings) measureCase(each, setting);
    }
    measureLogging();
    return 0;
}
