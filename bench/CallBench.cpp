// Round trips of calls between two processes, beside a floor measured in the same run: two
// processes that send the same bytes each way over a plain unix stream socket and, for the writes,
// write the same file. Runs inside a device root whose dropbox lies in memory.

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>
#include <android/binder_manager.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_process.h>
#include <android/log.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "LumvndhalImpl.h"
#include "Measure.h"
#include "linux/platform/binder/Wire.h"

namespace {

using aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;
using aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData;
using aidl::vendor::tav::lumvndhal_aidl::LumvndhalImpl;
using bench::number;
using bench::Samples;
using bench::Worker;

constexpr int kRounds = 20;  // floor and call take turns, so that both see the same machine
constexpr size_t kFrameHeader = sizeof(standin::FrameHeader);
constexpr char kFile[] = "/data/vendor/lum/f";
const std::string kInstance = std::string(ILumvndhal::descriptor) + "/bench";

struct Setting {
    const char* name;
    int serverCore;
    int clientCore;
};
constexpr Setting kSettings[] = {{"one core", 0, 0}, {"two cores", 0, 1}};

// What one call is: its bytes on the way, the file that is written with them, and the call itself.
struct Case {
    std::string name;
    size_t requestSize;
    size_t replySize;
    size_t fileSize;
    size_t perRound;
    std::function<void(ILumvndhal&)> call;
};

void serve(int core, bool verbose) {
    bench::pinTo(core);
    const int quiet = ::open("/dev/null", O_WRONLY);
    ::dup2(quiet, STDERR_FILENO);
    if (verbose) __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    const auto service = ndk::SharedRefBase::make<LumvndhalImpl>();
    if (AServiceManager_addService(service->asBinder().get(), kInstance.c_str()) != EX_NONE) return;
    ABinderProcess_startThreadPool();
    for (;;) ::pause();
}

void receiveAll(int socket, std::vector<char>* buffer, size_t size) {
    for (size_t done = 0; done < size;) {
        const ssize_t some = ::recv(socket, buffer->data() + done, size - done, 0);
        if (some <= 0) ::_exit(0);
        done += static_cast<size_t>(some);
    }
}

void sendAll(int socket, const std::vector<char>& buffer, size_t size) {
    for (size_t done = 0; done < size;) {
        const ssize_t some = ::send(socket, buffer.data() + done, size - done, MSG_NOSIGNAL);
        if (some <= 0) ::_exit(0);
        done += static_cast<size_t>(some);
    }
}

void writeFile(const std::vector<char>& buffer, size_t size) {
    const int file = ::open(kFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (::write(file, buffer.data(), size) != static_cast<ssize_t>(size)) std::abort();
    ::close(file);
}

void echo(int socket, int core, const Case& each) {
    bench::pinTo(core);
    std::vector<char> buffer(std::max(each.requestSize, each.replySize));
    for (;;) {
        receiveAll(socket, &buffer, each.requestSize);
        if (each.fileSize != 0) writeFile(buffer, each.fileSize);
        sendAll(socket, buffer, each.replySize);
    }
}

void check(bool ok) {
    if (ok) return;
    std::fprintf(stderr, "a call failed\n");
    std::exit(1);
}

std::shared_ptr<ILumvndhal> connect() {
    const ndk::SpAIBinder binder(AServiceManager_waitForService(kInstance.c_str()));
    return ILumvndhal::fromBinder(binder);
}

// The bytes of a frame whose parcel holds the interface's token and the arguments.
template <class... Args>
size_t requestSize(const Args&... args) {
    ndk::ScopedAParcel parcel(AParcel_create());
    for (int word = 0; word < 3; ++word) AParcel_writeInt32(parcel.get(), 0);
    ndk::AParcel_writeString(parcel.get(), std::string(ILumvndhal::descriptor));
    (ndk::AParcel_writeData(parcel.get(), args), ...);
    return kFrameHeader + static_cast<size_t>(AParcel_getDataSize(parcel.get()));
}

Case writeCase(const std::string& name, size_t size, size_t perRound) {
    const std::vector<uint8_t> data(size, 'x');
    const auto length = static_cast<int32_t>(size);
    return {name,
            requestSize(std::string("/f"), data, length),
            kFrameHeader + 8,
            size,
            perRound,
            [=](ILumvndhal& service) {
                bool result = false;
                check(service.write_data_to_vendor_dropbox("/f", data, length, &result).isOk() &&
                      result);
            }};
}

std::vector<Case> cases() {
    return {{"ping", kFrameHeader, kFrameHeader, 0, 1000,
             [](ILumvndhal& service) {
                 check(AIBinder_ping(service.asBinder().get()) == STATUS_OK);
             }},
            {"get_vnd_data, unknown word", requestSize(std::string("nothing")), kFrameHeader + 28,
             0, 1000,
             [](ILumvndhal& service) {
                 LumvndhalGenericData data;
                 int32_t result = 0;
                 check(service.get_vnd_data("nothing", &data, &result).isOk());
             }},
            writeCase("write_data_to_vendor_dropbox, 64 B", 64, 500),
            writeCase("write_data_to_vendor_dropbox, 64 KiB", size_t{64} << 10, 200)};
}

void printHead(const std::string& what, const std::vector<std::string>& cells) {
    std::printf("\n");
    bench::printRow(what, cells);
}

void measureCase(const Case& each, const Setting& setting) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
    const Worker echoing([&] { echo(ends[1], setting.serverCore, each); });
    const Worker serving([&] { serve(setting.serverCore, false); });
    bench::pinTo(setting.clientCore);
    const auto service = connect();
    std::vector<char> buffer(std::max(each.requestSize, each.replySize));
    Samples floor;
    Samples calls;
    for (int round = 0; round < kRounds; ++round) {
        floor.measure(each.perRound, [&] {
            sendAll(ends[0], buffer, each.requestSize);
            receiveAll(ends[0], &buffer, each.replySize);
        });
        calls.measure(each.perRound, [&] { each.call(*service); });
    }
    ::close(ends[0]);
    ::close(ends[1]);
    bench::printRow(each.name + ", " + setting.name,
                    {number(calls.median()), number(calls.p99()), number(floor.median()),
                     number(floor.p99()), number(calls.median() / floor.median())});
}

void measureLogging() {
    printHead("set_vnd_data, unknown word, one core [us]", {"median", "p99"});
    for (const bool verbose : {false, true}) {
        const Worker serving([&] { serve(0, verbose); });
        bench::pinTo(0);
        const auto service = connect();
        Samples calls;
        calls.measure(20000, [&] {
            int32_t result = 0;
            check(service->set_vnd_data("nothing", "", &result).isOk());
        });
        bench::printRow(verbose ? "VERBOSE lines on (to /dev/null)" : "VERBOSE lines off",
                        {number(calls.median()), number(calls.p99())});
    }
}

// Eight processes that call at once; they report through memory that they share.
void measureEightClients() {
    constexpr size_t kClients = 8;
    constexpr size_t kCalls = 5000;
    auto* times =
            static_cast<double*>(::mmap(nullptr, sizeof(double) * kClients * kCalls,
                                        PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    auto* done = static_cast<std::atomic<size_t>*>(::mmap(nullptr, sizeof(std::atomic<size_t>),
                                                          PROT_READ | PROT_WRITE,
                                                          MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    const Worker serving([] { serve(-1, false); });
    std::vector<std::unique_ptr<Worker>> clients;
    clients.reserve(kClients);
    for (size_t client = 0; client < kClients; ++client) {
        clients.push_back(std::make_unique<Worker>([=] {
            const auto service = connect();
            Samples own;
            own.measure(kCalls, [&] {
                int32_t result = 0;
                LumvndhalGenericData data;
                check(service->get_vnd_data("nothing", &data, &result).isOk());
            });
            std::copy(own.all().begin(), own.all().end(), times + client * kCalls);
            ++*done;
        }));
    }
    while (*done != kClients) ::usleep(10000);
    Samples all;
    for (size_t i = 0; i < kClients * kCalls; ++i) all.add(times[i]);
    printHead("get_vnd_data, unknown word [us]", {"median", "p99", "p99/median"});
    bench::printRow("8 clients at once, all cores",
                    {number(all.median()), number(all.p99()), number(all.p99() / all.median())});
}

}  // namespace

int main() {
    measureEightClients();
    measureLogging();
    printHead("round trip [us]", {"median", "p99", "floor med", "floor p99", "ratio"});
    for (const Case& each : cases()) {
        for (const Setting& setting : kSettings) measureCase(each, setting);
    }
    return 0;
}
