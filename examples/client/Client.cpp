// A client of the vendor service: prints what the service tells about the device and stores a file
// in the dropbox, through a queue. Usage: example_client FILE PATH-IN-THE-DROPBOX
#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>
#include <android/binder_manager.h>
#include <fmq/AidlMessageQueue.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

using aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;
using aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData;

// Waits until the service is there. Null when what is there is of another interface.
std::shared_ptr<ILumvndhal> findService() {
    const ndk::SpAIBinder binder(
            AServiceManager_waitForService("vendor.tav.lumvndhal_aidl.ILumvndhal/default"));
    return ILumvndhal::fromBinder(binder);
}

// The answer to a command word; none when there is none, or when the service cannot be reached.
std::optional<std::string> ask(ILumvndhal& service, const std::string& word) {
    LumvndhalGenericData answer;
    int32_t result = -1;
    const ndk::ScopedAStatus status = service.get_vnd_data(word, &answer, &result);
    if (!status.isOk()) std::fprintf(stderr, "%s\n", status.getDescription().c_str());
    if (!status.isOk() || result != 0 || answer.data_size < 0) return std::nullopt;
    return answer.data;
}

using Queue =
        android::AidlMessageQueue<int8_t,
                                  aidl::android::hardware::common::fmq::SynchronizedReadWrite>;

// Stores at least one byte as a file. False tells that the service's log has the reason.
bool store(ILumvndhal& service, const std::string& path, const std::vector<int8_t>& bytes) {
    Queue queue(bytes.size());
    bool done = false;
    if (!queue.isValid()) return false;
    if (!service.configure(queue.dupeDesc(), &done).isOk() || !done) return false;
    if (!queue.write(bytes.data(), bytes.size())) return false;
    const ndk::ScopedAStatus status =
            service.request_read(path, static_cast<int32_t>(bytes.size()), &done);
    return status.isOk() && done;
}

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "Usage: %s FILE PATH-IN-THE-DROPBOX\n", argv[0]);
        return 2;
    }
    std::ifstream file(argv[1], std::ios::binary);
    const std::vector<int8_t> bytes{std::istreambuf_iterator<char>(file), {}};
    const std::shared_ptr<ILumvndhal> service = findService();
    if (service == nullptr || bytes.empty()) return 1;

    for (const char* word : {"BUILDID", "LUMTR_VERSION", "CHIPSET_SERIAL"}) {
        std::printf("%s: %s\n", word, ask(*service, word).value_or("no answer").c_str());
    }
    const bool stored = store(*service, argv[2], bytes);
    std::printf("%s: %s\n", argv[2], stored ? "stored" : "not stored");
    return stored ? 0 : 1;
}
