#pragma once

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>

#include <functional>
#include <utility>

namespace aidl::vendor::tav::lumvndhal_aidl {

// Base of the service's object: turns transactions into calls of its methods.
class BnLumvndhal : public ::ndk::BnCInterface<ILumvndhal> {
  public:
    BnLumvndhal();
    ~BnLumvndhal() override;

    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* result) final;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* result) final;

    // What is told of a call that came through a binder. The names of arguments begin with their
    // direction, as in "in_path" and "out_vnd_data".
    struct TransactionLog {
        double duration_ms = 0;  // of the method alone
        std::string interface_name;
        std::string method_name;
        const void* proxy_address = nullptr;
        const void* stub_address = nullptr;
        std::vector<std::pair<std::string, std::string>> input_args;
        std::vector<std::pair<std::string, std::string>> output_args;
        std::string result;
        std::string exception_message;
        int32_t exception_code = 0;
        int32_t transaction_error = 0;
        int32_t service_specific_error_code = 0;
    };
    // Called after each call, on its thread, when set; nothing is gathered when it is not. To be
    // set before the first call.
    static std::function<void(const TransactionLog&)> logFunc;

  protected:
    ::ndk::SpAIBinder createBinder() override;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
