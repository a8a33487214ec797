#pragma once

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>

namespace aidl::vendor::tav::lumvndhal_aidl {

// Base of the service's object: turns transactions into calls of its methods.
class BnLumvndhal : public ::ndk::BnCInterface<ILumvndhal> {
  public:
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* result) final;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* result) final;

  protected:
    ::ndk::SpAIBinder createBinder() override;
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
