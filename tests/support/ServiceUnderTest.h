#pragma once

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>

#include <memory>

#include "ChildProcess.h"
#include "LogCapture.h"
#include "LumvndhalImpl.h"

namespace support {

using aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;
using aidl::vendor::tav::lumvndhal_aidl::LumvndhalImpl;

// From where a test calls the service: on the object itself, or through a proxy from another
// process.
enum class From { kSameProcess, kOtherProcess };

// A service object to test. In kSameProcess with the lines it logs, in kOtherProcess in a forked
// process, which `prepare` may set up before it serves; so it must be made before this process has
// threads.
class ServiceUnderTest {
  public:
    explicit ServiceUnderTest(From from, void (*prepare)(LumvndhalImpl&) = nullptr);

    ILumvndhal* operator->() const { return mInterface.get(); }
    // The service's lines since the last time. Only in kSameProcess.
    LogLines takeLog() { return mCapture->take(); }
    // The process that the service lives in; 0 for this one.
    pid_t process() const { return mChild == nullptr ? 0 : mChild->pid(); }

  private:
    std::shared_ptr<ILumvndhal> mInterface;
    std::unique_ptr<LogCapture> mCapture;
    std::unique_ptr<ChildProcess> mChild;
};

}  // namespace support
