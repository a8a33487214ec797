// Many clients that call at once, each a process with one connection: get_vnd_data with a word that
// the service does not know. The floor: as many processes on plain unix sockets, with a thread for
// each at the other end that answers with the same bytes.
//   load_bench [--quick] [WORD...]        a row for each of the usual numbers of clients
//   load_bench --clients COUNT...         a row for each of these
//   load_bench --connections COUNT        opens connections until one is refused, or COUNT; says
//   how
//                                         many, and holds them until its standard input ends

#include <android/binder_manager.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "FrameSize.h"
#include "Measure.h"
#include "Service.h"

namespace {

using bench::check;
using bench::Samples;
using bench::Worker;
using Clock = std::chrono::steady_clock;

constexpr char kGroup[] = "clients";
constexpr size_t kCounts[] = {1, 4, 16, 64, 200};
constexpr size_t kMostCalls = size_t{1} << 20;  // of one client

// What a client reports, in memory that it shares with this process.
struct Report {
    std::atomic<size_t> calls;
    float microseconds[kMostCalls];
};
struct Board {
    std::atomic<size_t> ready;
    std::atomic<bool> go;
    std::atomic<bool> stop;
};

struct Outcome {
    Samples times;
    double perCall;   // microseconds from one answer to the next, whoever gets it
    double fairness;  // the calls of the client with the fewest, for each of the one with the most
};

// Makes a client's call; built in the client's own process.
using Call = std::function<void()>;
using MakeCall = std::function<Call(size_t client)>;

void runClient(const Call& call, Board* board, Report* report) {
    call();
    ++board->ready;
    while (!board->go) ::usleep(1000);
    size_t calls = 0;
    while (!board->stop && calls < kMostCalls) {
        report->microseconds[calls++] = static_cast<float>(bench::microsecondsOf(call));
    }
    report->calls = calls;
}

double letRun(Board* board, size_t clients, double seconds) {
    while (board->ready != clients) ::usleep(1000);
    return bench::microsecondsOf([&] {
        board->go = true;
        ::usleep(static_cast<useconds_t>(seconds * 1e6));
        board->stop = true;
    });
}

Outcome evaluate(const Report* reports, size_t clients, double microseconds) {
    Outcome outcome;
    size_t fewest = kMostCalls;
    size_t most = 1;
    for (size_t i = 0; i < clients; ++i) {
        const size_t calls = reports[i].calls;
        fewest = std::min(fewest, calls);
        most = std::max(most, calls);
        for (size_t call = 0; call < calls; ++call)
            outcome.times.add(reports[i].microseconds[call]);
    }
    outcome.perCall = microseconds / static_cast<double>(outcome.times.count());
    outcome.fairness = static_cast<double>(fewest) / static_cast<double>(most);
    return outcome;
}

Outcome measure(size_t clients, double seconds, const MakeCall& makeCall) {
    auto* board = static_cast<Board*>(bench::sharedMemory(sizeof(Board)));
    auto* reports = static_cast<Report*>(bench::sharedMemory(sizeof(Report) * clients));
    std::vector<pid_t> processes;
    for (size_t client = 0; client < clients; ++client) {
        processes.push_back(::fork());
        check(processes.back() >= 0, "fork");
        if (processes.back() != 0) continue;
        runClient(makeCall(client), board, &reports[client]);
        ::_exit(0);
    }
    const double microseconds = letRun(board, clients, seconds);
    for (const pid_t process : processes) ::waitpid(process, nullptr, 0);
    Outcome outcome = evaluate(reports, clients, microseconds);
    ::munmap(reports, sizeof(Report) * clients);
    ::munmap(board, sizeof(Board));
    return outcome;
}

Outcome measureCalls(size_t clients, double seconds) {
    return measure(clients, seconds, [](size_t) {
        return [service = bench::connect()] {
            bench::LumvndhalGenericData data;
            int32_t result = 0;
            check(service->get_vnd_data("nothing", &data, &result).isOk(), "a call");
        };
    });
}

Outcome measureFloor(size_t clients, double seconds) {
    const size_t request = bench::requestSize(bench::sizeOf(std::string("nothing")));
    const size_t reply = bench::replySize(24);
    std::vector<int> servers(clients);
    std::vector<int> callers(clients);
    for (size_t i = 0; i < clients; ++i) {
        int ends[2];
        check(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
        servers[i] = ends[0];
        callers[i] = ends[1];
    }
    Worker serving([&] {
        for (const int server : servers) {
            std::thread([=] { bench::echo(server, request, reply); }).detach();
        }
        for (;;) ::pause();
    });
    Outcome outcome = measure(clients, seconds, [&](size_t client) {
        std::vector<char> buffer(std::max(request, reply));
        return [=, socket = callers[client]]() mutable {
            bench::roundTrip(socket, &buffer, request, reply);
        };
    });
    for (size_t i = 0; i < clients; ++i) {
        ::close(servers[i]);
        ::close(callers[i]);
    }
    return outcome;
}

std::string name(size_t clients) {
    return std::to_string(clients) + (clients == 1 ? " client" : " clients");
}

void printRow(size_t clients, const Outcome& calls, const Outcome& floor) {
    const Samples& times = calls.times;
    bench::print({kGroup,
                  name(clients),
                  "this",
                  calls.perCall,
                  floor.perCall,
                  {{"clients", static_cast<double>(clients)},
                   {"calls_per_second", 1e6 / calls.perCall},
                   {"p50", times.median()},
                   {"p99", times.p99()},
                   {"p99.9", times.percentile(0.999)},
                   {"max", times.max()},
                   {"fairness", calls.fairness},
                   {"floor_p50", floor.times.median()},
                   {"floor_p99", floor.times.p99()},
                   {"floor_max", floor.times.max()},
                   {"floor_fairness", floor.fairness}}});
}

// The middle one of three turns, by throughput.
void measureClients(size_t clients) {
    const double seconds = static_cast<double>(bench::scaled(10, 3)) / 10;
    std::vector<Outcome> calls;
    std::vector<Outcome> floors;
    for (int turn = 0; turn < 3; ++turn) {
        floors.push_back(measureFloor(clients, seconds));
        calls.push_back(measureCalls(clients, seconds));
    }
    const auto faster = [](const Outcome& a, const Outcome& b) { return a.perCall < b.perCall; };
    std::sort(calls.begin(), calls.end(), faster);
    std::sort(floors.begin(), floors.end(), faster);
    printRow(clients, calls[1], floors[1]);
}

void holdConnections(size_t count) {
    std::vector<ndk::SpAIBinder> held;
    while (held.size() < count) {
        ndk::SpAIBinder binder(AServiceManager_checkService(bench::kInstance.c_str()));
        if (binder.get() == nullptr) break;
        held.push_back(binder);
    }
    std::printf("%zu\n", held.size());
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--connections") {
        holdConnections(std::strtoul(argv[2], nullptr, 10));
        return 0;
    }
    std::vector<size_t> counts(std::begin(kCounts), std::end(kCounts));
    if (argc >= 3 && std::string(argv[1]) == "--clients") {
        counts.clear();
        for (int i = 2; i < argc; ++i) counts.push_back(std::strtoul(argv[i], nullptr, 10));
    } else {
        bench::readOptions(argc, argv);
    }
    const Worker serving([] { bench::serve(-1); });
    for (const size_t clients : counts) {
        if (bench::wants(kGroup, name(clients))) measureClients(clients);
    }
    return 0;
}
