#pragma once

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>

namespace aidl::vendor::tav::lumvndhal_aidl {

// A client's proxy: turns calls of its methods into transactions. Made by ILumvndhal::fromBinder;
// may be used from any thread.
class BpLumvndhal : public ::ndk::BpCInterface<ILumvndhal> {
  public:
    using ::ndk::BpCInterface<ILumvndhal>::BpCInterface;

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
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* result) override;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* result) override;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
