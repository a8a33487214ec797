#pragma once

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>

#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"

namespace support {

// The real hosting executable.
class HostProcess : public ChildProcess {
  public:
    explicit HostProcess(const std::vector<std::string>& options = {});

    // A proxy of the instance, as soon as that is there.
    static std::shared_ptr<aidl::vendor::tav::lumvndhal_aidl::ILumvndhal> connect(
            const std::string& instance = "default");
    // What it has written to standard error; to be asked after its end.
    std::string errors() const;

  private:
    HostProcess(const std::vector<std::string>& options, int errors);

    ndk::ScopedFileDescriptor mErrors;
};

}  // namespace support
