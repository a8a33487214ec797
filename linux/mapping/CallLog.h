#pragma once

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>

#include <chrono>

#include "Arguments.h"

namespace aidl::vendor::tav::lumvndhal_aidl {

// Tells logFunc of the stub or the proxy (Side) about one call, from its making to tell(). Costs
// two tests when logFunc is not set.
template <typename Side>
class CallLog {
  public:
    CallLog() {
        if (Side::logFunc) mStart = Clock::now();
    }

    template <typename Result, typename... Args>
    void tell(const void* proxy, const void* stub, const char* method,
              const ::ndk::ScopedAStatus& outcome, const Result& result,
              const Args&... args) const {
        if (!Side::logFunc) return;
        const std::chrono::duration<double, std::milli> duration = Clock::now() - mStart;
        typename Side::TransactionLog log;
        log.duration_ms = duration.count();
        log.interface_name = ILumvndhal::descriptor;
        log.method_name = method;
        log.proxy_address = proxy;
        log.stub_address = stub;
        (args.describeInput(&log.input_args), ...);
        log.exception_message = outcome.getMessage();
        log.exception_code = outcome.getExceptionCode();
        log.transaction_error = outcome.getStatus();
        log.service_specific_error_code = outcome.getServiceSpecificError();
        if (outcome.isOk()) {  // else nothing has been written to them
            (args.describeOutput(&log.output_args), ...);
            log.result = ::android::internal::ToString(result);
        }
        Side::logFunc(log);
    }

  private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point mStart;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
