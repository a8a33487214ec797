#pragma once

#include <aidl/android/hardware/common/fmq/MQDescriptor.h>
#include <aidl/android/hardware/common/fmq/SynchronizedReadWrite.h>
#include <aidl/vendor/tav/lumvndhal_aidl/LumvndhalGenericData.h>
#include <android/binder_interface_utils.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace aidl::vendor::tav::lumvndhal_aidl {

// The interface of the vendor service; ILumvndhal.aidl tells what each method does. These headers
// offer names that the AIDL compiler makes, and no others: code above them also builds on a device.
class ILumvndhal : public ::ndk::ICInterface {
  public:
    static const char* descriptor;
    static inline const int32_t version = 1;
    // Of the frozen definition of this version.
    static inline const std::string hash = "3cb6bd3ccf94026bded3659abe9f928283e16b26";

    static constexpr uint32_t TRANSACTION_configure = FIRST_CALL_TRANSACTION + 0;
    static constexpr uint32_t TRANSACTION_request_read = FIRST_CALL_TRANSACTION + 1;
    static constexpr uint32_t TRANSACTION_get_vnd_data = FIRST_CALL_TRANSACTION + 2;
    static constexpr uint32_t TRANSACTION_set_vnd_data = FIRST_CALL_TRANSACTION + 3;
    static constexpr uint32_t TRANSACTION_update_vendor_dropbox = FIRST_CALL_TRANSACTION + 4;
    static constexpr uint32_t TRANSACTION_write_data_to_vendor_dropbox = FIRST_CALL_TRANSACTION + 5;

    // The service behind a binder: the object itself when it lives in this process, else a proxy.
    // Null for null and for a binder of another interface.
    static std::shared_ptr<ILumvndhal> fromBinder(const ::ndk::SpAIBinder& binder);

    virtual ::ndk::ScopedAStatus configure(
            const ::aidl::android::hardware::common::fmq::MQDescriptor<
                    int8_t, ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>& desc,
            bool* result) = 0;
    virtual ::ndk::ScopedAStatus request_read(const std::string& path, int32_t count,
                                              bool* result) = 0;
    virtual ::ndk::ScopedAStatus get_vnd_data(const std::string& cmd,
                                              LumvndhalGenericData* vnd_data, int32_t* result) = 0;
    virtual ::ndk::ScopedAStatus set_vnd_data(const std::string& cmd, const std::string& param,
                                              int32_t* result) = 0;
    virtual ::ndk::ScopedAStatus update_vendor_dropbox(const std::string& path, bool create,
                                                       int32_t* result) = 0;
    virtual ::ndk::ScopedAStatus write_data_to_vendor_dropbox(const std::string& spath,
                                                              const std::vector<uint8_t>& data,
                                                              int32_t length, bool* result) = 0;

    // Of the service at the other end.
    virtual ::ndk::ScopedAStatus getInterfaceVersion(int32_t* result) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceHash(std::string* result) = 0;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
