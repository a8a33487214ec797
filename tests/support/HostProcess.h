#pragma once

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>
#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

namespace support {

// The real hosting executable, run as a process of its own. Killed, if it still runs, when this
// goes out of scope.
class HostProcess {
  public:
    explicit HostProcess(const std::vector<std::string>& options = {});
    ~HostProcess();
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;

    pid_t pid() const { return mPid; }
    // The name that it registers unless told otherwise.
    std::string name(const std::string& instance = "default") const;
    // A proxy of the service, as soon as that is there.
    std::shared_ptr<aidl::vendor::tav::lumvndhal_aidl::ILumvndhal> connect(
            const std::string& instance = "default") const;

    // Sends the signal and waits: the exit status, or 128 and the signal that ended it.
    int end(int signal);
    void kill();
    int wait();
    // What it has written to standard error; to be asked after its end.
    std::string errors() const;
    // Whether its open descriptors come to `count` within a few seconds.
    bool settlesAt(size_t count) const;

  private:
    pid_t mPid = 0;
    int mErrors = -1;
};

}  // namespace support
