// A long run of the real service with four clients, who look at every answer and every file, and
// then clients and services that are killed in the middle of what they do:
//   soak SERVICE [CALLS]
// Says now and then what the service has of descriptors, mappings, memory and threads, and at the
// end whether that is flat. Runs inside a device root with the sample's files.

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "LumvndhalImpl.h"
#include "Measure.h"
#include "SoakClient.h"

namespace {

using bench::check;
using bench::ILumvndhal;
using bench::SoakClient;
using bench::Stored;
using bench::Worker;

constexpr size_t kClients = 4;
constexpr size_t kCallsBetweenLooks = 50000;

std::string servicePath;

void runService() {
    bench::quieten();
    ::execl(servicePath.c_str(), servicePath.c_str(), nullptr);
    ::_exit(127);
}

// What the service holds while nobody calls it.
struct Look {
    size_t descriptors;
    size_t mappings;
    size_t threads;
    size_t kibibytes;
};

size_t statusOf(pid_t process, const std::string& field) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;) {
        size_t value = 0;
        if (word == field + ":" && status >> value) return value;
    }
    return 0;
}

Look lookAt(pid_t service) {
    const std::string directory = "/proc/" + std::to_string(service);
    const auto descriptors = std::filesystem::directory_iterator(directory + "/fd");
    std::ifstream maps(directory + "/maps");
    size_t mappings = 0;
    for (std::string line; std::getline(maps, line);) ++mappings;
    return {static_cast<size_t>(std::distance(begin(descriptors), end(descriptors))), mappings,
            statusOf(service, "Threads"), statusOf(service, "RssAnon")};
}

void printLook(size_t calls, const Look& look) {
    std::printf("%9zu calls: %3zu descriptors, %4zu mappings, %3zu threads, %6zu KiB\n", calls,
                look.descriptors, look.mappings, look.threads, look.kibibytes);
    std::fflush(stdout);
}

// Says what is more than it was. An allocator may take a little more, in a mapping of its own.
bool isFlat(const Look& first, const Look& last) {
    constexpr size_t kMappings = 4;
    constexpr size_t kKibibytes = 1024;
    const struct {
        const char* what;
        size_t before;
        size_t after;
        size_t slack;
    } each[] = {{"descriptors", first.descriptors, last.descriptors, 0},
                {"mappings", first.mappings, last.mappings, kMappings},
                {"threads", first.threads, last.threads, 0},
                {"KiB of memory", first.kibibytes, last.kibibytes, kKibibytes}};
    bool flat = true;
    for (const auto& [what, before, after, slack] : each) {
        if (after <= before + slack) continue;
        std::printf("grew: %s, from %zu to %zu\n", what, before, after);
        flat = false;
    }
    return flat;
}

struct Board {
    std::atomic<size_t> round;
    std::atomic<size_t> done;
    Stored stored[kClients][bench::kStoredFiles];
};

void runClient(size_t number, size_t callsOfARound, Board* board) {
    SoakClient client(number, board->stored[number]);
    for (size_t round = 1;; ++round) {
        while (board->round < round) ::usleep(1000);
        client.call(callsOfARound);
        ++board->done;
    }
}

using Clients = std::vector<std::unique_ptr<Worker>>;

void expectAlive(const Clients& clients) {
    for (const auto& client : clients) {
        check(::waitpid(client->pid(), nullptr, WNOHANG) == 0, "a client");
    }
}

// So that what is attached does not depend on who was the last.
void detachQueue(ILumvndhal& service) {
    bool result = true;
    service.configure({}, &result);
    check(!result, "refusing an empty descriptor");
}

bool callAll(pid_t service, size_t calls, Board* board) {
    // A short run has a few looks as well: the first is what the last is compared with.
    const size_t round = std::min(kCallsBetweenLooks, calls / 4);
    const auto proxy = bench::connect();
    Clients clients;
    for (size_t number = 0; number < kClients; ++number) {
        clients.push_back(
                std::make_unique<Worker>([=] { runClient(number, round / kClients, board); }));
    }
    std::optional<Look> first;
    Look last = {};
    for (size_t made = round; made <= calls; made += round) {
        board->done = 0;
        ++board->round;
        while (board->done != kClients) {
            ::usleep(10000);
            expectAlive(clients);
        }
        detachQueue(*proxy);
        last = lookAt(service);
        if (made >= 2 * round && 4 * made >= calls && !first) first = last;  // it is warm by now
        printLook(made, last);
    }
    return isFlat(*first, last);
}

// Clients that end in the middle of a transfer leave nothing behind in the service.
bool killClients(pid_t service, size_t times, Board* board) {
    const auto proxy = bench::connect();
    std::minstd_rand random(static_cast<uint32_t>(times));
    detachQueue(*proxy);
    const Look before = lookAt(service);
    for (size_t time = 0; time < times; ++time) {
        const Worker client([=] { SoakClient(0, board->stored[0]).storeForEver(); });
        ::usleep(static_cast<useconds_t>(1000 + random() % 20000));
    }
    SoakClient::verifyStored(0, board->stored[0]);
    detachQueue(*proxy);
    for (int wait = 0; wait < 300 && lookAt(service).threads > before.threads; ++wait) {
        ::usleep(10000);
    }
    std::printf("%zu clients killed in the middle of a transfer\n", times);
    return isFlat(before, lookAt(service));
}

// What a service has answered with true is there when it is killed right after.
void killServices(size_t times, Board* board) {
    std::minstd_rand random(static_cast<uint32_t>(times));
    size_t answered = 0;
    for (size_t time = 0; time < times; ++time) {
        Worker service(runService);
        Clients clients;
        for (size_t number = 0; number < kClients; ++number) {
            for (Stored& each : board->stored[number]) each.answered = false;
            clients.push_back(std::make_unique<Worker>([=] {
                bench::quieten();  // it ends with a complaint when the service does
                SoakClient(number, board->stored[number]).storeForEver();
            }));
        }
        bench::connect();
        ::usleep(static_cast<useconds_t>(5000 + random() % 30000));
        ::kill(service.pid(), SIGKILL);
        clients.clear();
        for (size_t number = 0; number < kClients; ++number) {
            SoakClient::verifyStored(number, board->stored[number]);
            for (const Stored& each : board->stored[number]) {
                if (each.answered) ++answered;
            }
        }
    }
    std::printf("%zu services killed under load: all %zu files that were answered true are whole\n",
                times, answered);
}

void prepareDropbox() {
    ::mkdir("/data/vendor/lum/shared", 0770);
    ::mkdir("/data/vendor/lum/shared/1503", 0770);
}

}  // namespace

int main(int argc, char** argv) {
    check(argc == 2 || argc == 3, "usage: soak SERVICE [CALLS]; this");
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // nothing waits that a fork would double
    servicePath = argv[1];
    const size_t calls = argc == 3 ? std::strtoul(argv[2], nullptr, 10) : 1000000;
    const size_t kills = std::clamp(calls / 5000, size_t{5}, size_t{50});
    auto* board = static_cast<Board*>(bench::sharedMemory(sizeof(Board)));
    prepareDropbox();
    bool flat = true;
    {
        const Worker service(runService);
        bench::connect();
        flat = callAll(service.pid(), calls, board);
        flat = killClients(service.pid(), 4 * kills, board) && flat;
    }
    killServices(kills, board);
    if (flat) std::printf("flat\n");
    return flat ? 0 : 1;
}
