// Calls one method so many times, and nothing else, for tools that count what that takes:
//   method_bench WHERE METHOD COUNT
// WHERE is "object" (on the service object itself), "parcel" (through proxy and parcels, in this
// process) or "process" (through a service in a process of its own, whose id is the first line on
// standard output).

#include <aidl/vendor/tav/lumvndhal_aidl/BpLumvndhal.h>
#include <fmq/AidlMessageQueue.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "LumvndhalImpl.h"
#include "Measure.h"
#include "Service.h"

namespace {

using aidl::vendor::tav::lumvndhal_aidl::BpLumvndhal;
using aidl::vendor::tav::lumvndhal_aidl::LumvndhalImpl;
using bench::check;
using bench::ILumvndhal;
using Queue =
        ::android::AidlMessageQueue<int8_t,
                                    ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>;

constexpr size_t kBlock = 4096;

// What the session operator answers: 24 characters.
void answerState(std::string& state) {
    state = "abcdefghijklmnopqrstuvwx";
}

std::shared_ptr<ILumvndhal> makeObject() {
    const auto object = ndk::SharedRefBase::make<LumvndhalImpl>();
    object->init_session_operator(nullptr, nullptr, nullptr, answerState);
    return object;
}

// A service in a process of its own, ready to be called.
std::shared_ptr<ILumvndhal> serveFromProcess(std::optional<bench::Worker>* serving) {
    serving->emplace([] { bench::serve(-1); });
    std::printf("%d\n", (*serving)->pid());
    std::fflush(stdout);
    return bench::connect();
}

using Method = std::function<bool(ILumvndhal&)>;

bool getState(ILumvndhal& service) {
    bench::LumvndhalGenericData data;
    int32_t result = -1;
    return service.get_vnd_data("collectorsState", &data, &result).isOk() && result == 0;
}

bool getUnknown(ILumvndhal& service) {
    bench::LumvndhalGenericData data;
    int32_t result = 0;
    return service.get_vnd_data("nothing", &data, &result).isOk();
}

bool setUnknown(ILumvndhal& service) {
    int32_t result = 0;
    return service.set_vnd_data("nothing", "", &result).isOk();
}

bool makeDirectory(ILumvndhal& service) {
    int32_t result = -1;
    return service.update_vendor_dropbox("/d", true, &result).isOk() && result == 0;
}

bool writeData(ILumvndhal& service) {
    static const std::vector<uint8_t> data(kBlock, 'x');
    bool result = false;
    return service.write_data_to_vendor_dropbox("/f", data, kBlock, &result).isOk() && result;
}

bool configure(ILumvndhal& service) {
    static Queue queue(kBlock);
    bool result = false;
    return service.configure(queue.dupeDesc(), &result).isOk() && result;
}

bool requestRead(ILumvndhal& service) {
    static Queue queue(kBlock);
    static const std::vector<int8_t> block(kBlock, 'x');
    bool result = false;
    static const bool attached = service.configure(queue.dupeDesc(), &result).isOk() && result;
    return attached && queue.write(block.data(), kBlock) &&
           service.request_read("/f", kBlock, &result).isOk() && result;
}

const std::map<std::string, Method> kMethods = {{"configure", configure},
                                                {"request_read", requestRead},
                                                {"get_vnd_data", getUnknown},
                                                {"set_vnd_data", setUnknown},
                                                {"update_vendor_dropbox", makeDirectory},
                                                {"write_data_to_vendor_dropbox", writeData},
                                                {"collectorsState", getState}};

}  // namespace

int main(int argc, char** argv) {
    check(argc == 4, "usage: method_bench object|parcel|process METHOD COUNT; this");
    const std::string where = argv[1];
    std::optional<bench::Worker> serving;
    std::shared_ptr<ILumvndhal> service =
            where == "process" ? serveFromProcess(&serving) : makeObject();
    if (where == "parcel") service = ndk::SharedRefBase::make<BpLumvndhal>(service->asBinder());
    const Method& method = kMethods.at(argv[2]);
    const long count = std::strtol(argv[3], nullptr, 10);
    for (long i = 0; i < count; ++i) check(method(*service), argv[2]);
    return 0;
}
