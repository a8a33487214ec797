#include "HostProcess.h"

#include <android/binder_manager.h>
#include <sys/mman.h>
#include <unistd.h>

#include <iterator>
#include <sstream>

#include "Files.h"

namespace support {
namespace {

using aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;

// The program, behind the emulator that runs programs of this kind, if it takes one.
int run(const std::vector<std::string>& options, int errors) {
    std::istringstream emulator(EMULATOR);
    std::vector<std::string> words(std::istream_iterator<std::string>(emulator), {});
    words.emplace_back(BIN_DIR "/vendor.tav.lumvndhal_aidl-service");
    words.insert(words.end(), options.begin(), options.end());
    std::vector<char*> arguments;
    for (auto& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    ::dup2(errors, STDERR_FILENO);
    ::execvp(arguments[0], arguments.data());
    return 127;
}

}  // namespace

HostProcess::HostProcess(const std::vector<std::string>& options)
    : HostProcess(options, ::memfd_create("errors", MFD_CLOEXEC)) {}

HostProcess::HostProcess(const std::vector<std::string>& options, int errors)
    : ChildProcess([&] { return run(options, errors); }), mErrors(errors) {}

std::shared_ptr<ILumvndhal> HostProcess::connect(const std::string& instance) {
    const std::string name = std::string(ILumvndhal::descriptor) + "/" + instance;
    return ILumvndhal::fromBinder(ndk::SpAIBinder(AServiceManager_waitForService(name.c_str())));
}

std::string HostProcess::errors() const {
    return readFile("/proc/self/fd/" + std::to_string(mErrors.get()));
}

}  // namespace support
