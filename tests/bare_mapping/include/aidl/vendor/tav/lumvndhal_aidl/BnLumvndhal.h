#pragma once

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>

#include <functional>
#include <utility>

namespace aidl::vendor::tav::lumvndhal_aidl {

class BnLumvndhal : public ::ndk::BnCInterface<ILumvndhal> {
  public:
    BnLumvndhal();
    ~BnLumvndhal() override;
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t*) final;
    ::ndk::ScopedAStatus getInterfaceHash(std::string*) final;

    struct TransactionLog {
        double duration_ms;
        std::string interface_name;
        std::string method_name;
        const void* proxy_address;
        const void* stub_address;
        std::vector<std::pair<std::string, std::string>> input_args;
        std::vector<std::pair<std::string, std::string>> output_args;
        std::string result;
        std::string exception_message;
        int32_t exception_code;
        int32_t transaction_error;
        int32_t service_specific_error_code;
    };
    static std::function<void(const TransactionLog&)> logFunc;

  protected:
    ::ndk::SpAIBinder createBinder() override;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
