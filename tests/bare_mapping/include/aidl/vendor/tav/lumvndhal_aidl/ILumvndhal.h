// What the AIDL compiler makes of the interface: every public name, and nothing behind it.
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

class ILumvndhal : public ::ndk::ICInterface {
  public:
    static const char* descriptor;
    static inline const int32_t version = 1;
    static inline const std::string hash;
    static constexpr uint32_t TRANSACTION_configure = FIRST_CALL_TRANSACTION + 0;
    static constexpr uint32_t TRANSACTION_request_read = FIRST_CALL_TRANSACTION + 1;
    static constexpr uint32_t TRANSACTION_get_vnd_data = FIRST_CALL_TRANSACTION + 2;
    static constexpr uint32_t TRANSACTION_set_vnd_data = FIRST_CALL_TRANSACTION + 3;
    static constexpr uint32_t TRANSACTION_update_vendor_dropbox = FIRST_CALL_TRANSACTION + 4;
    static constexpr uint32_t TRANSACTION_write_data_to_vendor_dropbox = FIRST_CALL_TRANSACTION + 5;

    static std::shared_ptr<ILumvndhal> fromBinder(const ::ndk::SpAIBinder&);
    static binder_status_t writeToParcel(AParcel*, const std::shared_ptr<ILumvndhal>&);
    static binder_status_t readFromParcel(const AParcel*, std::shared_ptr<ILumvndhal>*);
    static bool setDefaultImpl(const std::shared_ptr<ILumvndhal>&);
    static const std::shared_ptr<ILumvndhal>& getDefaultImpl();
    virtual ::ndk::ScopedAStatus configure(
            const ::aidl::android::hardware::common::fmq::MQDescriptor<
                    int8_t, ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>&,
            bool*) = 0;
    virtual ::ndk::ScopedAStatus request_read(const std::string&, int32_t, bool*) = 0;
    virtual ::ndk::ScopedAStatus get_vnd_data(const std::string&, LumvndhalGenericData*,
                                              int32_t*) = 0;
    virtual ::ndk::ScopedAStatus set_vnd_data(const std::string&, const std::string&, int32_t*) = 0;
    virtual ::ndk::ScopedAStatus update_vendor_dropbox(const std::string&, bool, int32_t*) = 0;
    virtual ::ndk::ScopedAStatus write_data_to_vendor_dropbox(const std::string&,
                                                              const std::vector<uint8_t>&, int32_t,
                                                              bool*) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceVersion(int32_t*) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceHash(std::string*) = 0;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
