#pragma once

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>

#include <functional>
#include <mutex>
#include <optional>
#include <utility>

namespace aidl::vendor::tav::lumvndhal_aidl {

// A client's proxy: turns calls of its methods into transactions. Made by ILumvndhal::fromBinder;
// may be used from any thread.
class BpLumvndhal : public ::ndk::BpCInterface<ILumvndhal> {
  public:
    explicit BpLumvndhal(const ::ndk::SpAIBinder& binder);
    ~BpLumvndhal() override;

    ::ndk::ScopedAStatus configure(
            const ::aidl::android::hardware::common::fmq::MQDescriptor<
                    int8_t, ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>& desc,
            bool* result) override;
    ::ndk::ScopedAStatus request_read(const std::string& path, int32_t count,
                                      bool* result) override;
    ::ndk::ScopedAStatus get_vnd_data(const std::string& cmd, LumvndhalGenericData* vnd_data,
                                      int32_t* result) override;
    ::ndk::ScopedAStatus set_vnd_data(const std::string& cmd, const std::string& param,
                                      int32_t* result) override;
    ::ndk::ScopedAStatus update_vendor_dropbox(const std::string& path, bool create,
                                               int32_t* result) override;
    ::ndk::ScopedAStatus write_data_to_vendor_dropbox(const std::string& spath,
                                                      const std::vector<uint8_t>& data,
                                                      int32_t length, bool* result) override;
    // The service is asked once; its answer is remembered.
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* result) override;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* result) override;

    // What is told of a call of this side; see BnLumvndhal::TransactionLog.
    struct TransactionLog {
        double duration_ms = 0;  // of the whole call
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
    static std::function<void(const TransactionLog&)> logFunc;

  private:
    std::mutex mMutex;  // guards what follows
    std::optional<int32_t> mVersion;
    std::optional<std::string> mHash;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
