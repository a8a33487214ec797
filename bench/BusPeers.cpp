// D-Bus calls with systemd's library: between two ends of a socket, and through a dbus-daemon.

#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <fstream>
#include <optional>

#include "Measure.h"
#include "Peers.h"
#include "Service.h"

namespace bench {
namespace {

constexpr char kName[] = "bench.Echo";
constexpr char kPath[] = "/";
constexpr char kMethod[] = "Exchange";
constexpr char kAddress[] = "unix:path=/data/bench-bus";
constexpr char kConfiguration[] = "/data/bench-bus.conf";

struct CloseBus {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, CloseBus>;

Bus makeBus() {
    sd_bus* bus = nullptr;
    check(sd_bus_new(&bus) >= 0, "sd_bus_new");
    return Bus(bus);
}

// To one end of a socket pair.
Bus openEnd(int fd, bool asServer) {
    Bus bus = makeBus();
    const sd_id128_t id = {};
    check(sd_bus_set_fd(bus.get(), fd, fd) >= 0, "sd_bus_set_fd");
    if (asServer) check(sd_bus_set_server(bus.get(), 1, id) >= 0, "sd_bus_set_server");
    check(sd_bus_set_anonymous(bus.get(), 1) >= 0 && sd_bus_start(bus.get()) >= 0, "sd_bus_start");
    return bus;
}

// To the daemon, once that listens.
Bus openDaemon() {
    for (int attempt = 0; attempt < 500; ++attempt) {
        Bus bus = makeBus();
        sd_bus_set_address(bus.get(), kAddress);
        sd_bus_set_bus_client(bus.get(), 1);
        if (sd_bus_start(bus.get()) >= 0) return bus;
        ::usleep(10000);
    }
    check(false, "dbus-daemon");
    return nullptr;
}

int answer(sd_bus_message* request, void* results, sd_bus_error* /*error*/) {
    const auto size = *static_cast<size_t*>(results);
    const std::vector<char> bytes(size);
    sd_bus_message* reply = nullptr;
    check(sd_bus_message_new_method_return(request, &reply) >= 0, "a reply");
    sd_bus_message_append_array(reply, 'y', bytes.data(), size);
    const int sent = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return sent;
}

void serveOn(sd_bus* bus, size_t results) {
    const sd_bus_vtable methods[] = {
            SD_BUS_VTABLE_START(0),
            SD_BUS_METHOD(kMethod, "ay", "ay", answer, SD_BUS_VTABLE_UNPRIVILEGED),
            SD_BUS_VTABLE_END};
    check(sd_bus_add_object_vtable(bus, nullptr, kPath, kName, methods, &results) >= 0, "vtable");
    for (;;) {
        const int done = sd_bus_process(bus, nullptr);
        check(done >= 0, "sd_bus_process");
        if (done == 0) sd_bus_wait(bus, UINT64_MAX);
    }
}

void exchange(sd_bus* bus, const char* destination, const std::vector<char>& arguments) {
    sd_bus_message* request = nullptr;
    sd_bus_message* reply = nullptr;
    check(sd_bus_message_new_method_call(bus, &request, destination, kPath, kName, kMethod) >= 0,
          "a request");
    sd_bus_message_append_array(request, 'y', arguments.data(), arguments.size());
    check(sd_bus_call(bus, request, 0, nullptr, &reply) >= 0, "sd_bus_call");
    const void* bytes = nullptr;
    size_t size = 0;
    check(sd_bus_message_read_array(reply, 'y', &bytes, &size) >= 0, "the reply");
    sd_bus_message_unref(request);
    sd_bus_message_unref(reply);
}

class PeerToPeer : public Peer {
  public:
    PeerToPeer(size_t arguments, size_t results, int core) : mArguments(arguments) {
        int ends[2];
        check(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
        mServer.emplace([=] {
            pinTo(core);
            ::close(ends[0]);
            serveOn(openEnd(ends[1], true).get(), results);
        });
        ::close(ends[1]);
        mBus = openEnd(ends[0], false);
    }
    std::string name() const override { return "sd-bus, peer to peer"; }
    void call() override { exchange(mBus.get(), nullptr, mArguments); }

  private:
    const std::vector<char> mArguments;
    std::optional<Worker> mServer;
    Bus mBus;
};

void runDaemon(int core) {
    pinTo(core);
    std::ofstream(kConfiguration)
            << "<busconfig><type>custom</type><listen>" << kAddress
            << "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination="
               "\"*\"/><allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>\n";
    quieten();  // it would complain that it cannot raise its descriptor limit
    ::execlp("dbus-daemon", "dbus-daemon", "--config-file", kConfiguration, "--nofork",
             "--nopidfile", nullptr);
}

class ThroughDaemon : public Peer {
  public:
    ThroughDaemon(size_t arguments, size_t results, int core)
        : mArguments(arguments), mDaemon([=] { runDaemon(core); }), mServer([=] {
              pinTo(core);
              const Bus bus = openDaemon();
              check(sd_bus_request_name(bus.get(), kName, 0) >= 0, "sd_bus_request_name");
              serveOn(bus.get(), results);
          }) {
        mBus = openDaemon();
        int attempts = 500;
        while (sd_bus_get_name_creds(mBus.get(), kName, 0, nullptr) < 0 && --attempts > 0) {
            ::usleep(10000);
        }
        check(attempts > 0, "the server on the bus");
    }
    ~ThroughDaemon() override { ::unlink("/data/bench-bus"); }
    std::string name() const override { return "D-Bus, through its daemon"; }
    void call() override { exchange(mBus.get(), kName, mArguments); }

  private:
    const std::vector<char> mArguments;
    Worker mDaemon;
    Worker mServer;
    Bus mBus;
};

}  // namespace

std::vector<std::unique_ptr<Peer>> startPeers(size_t arguments, size_t results, int core) {
    std::vector<std::unique_ptr<Peer>> peers;
    peers.push_back(std::make_unique<PeerToPeer>(arguments, results, core));
    if (::access("/usr/bin/dbus-daemon", X_OK) == 0) {
        peers.push_back(std::make_unique<ThroughDaemon>(arguments, results, core));
    }
    return peers;
}

}  // namespace bench
