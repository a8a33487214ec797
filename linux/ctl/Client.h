#pragma once

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>
#include <android/binder_auto_utils.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Failure.h"

namespace lumctl {

using ::aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;
using ::aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData;

// What a client hands over to share its queue of bytes.
using ByteQueueDescriptor = ::aidl::android::hardware::common::fmq::MQDescriptor<
        int8_t, ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>;

struct Answer {
    int32_t result = 0;
    LumvndhalGenericData data;
};

// One instance of the service. Its functions make one call each and return what the service
// answered; Failure kNotReached when the call did not get through.
class Client {
  public:
    // Failure kNotReached when there is no such instance now.
    explicit Client(const std::string& instance);

    void ping();
    int32_t interfaceVersion();
    std::string interfaceHash();

    int32_t updateDropbox(const std::string& path, bool create);
    // Asks by a call that changes nothing whether there is a directory.
    bool isDirectory(const std::string& path);
    bool writeFile(const std::string& path, const std::vector<uint8_t>& data, int32_t length);
    bool configure(const ByteQueueDescriptor& descriptor);
    bool requestRead(const std::string& path, int32_t count);
    Answer get(const std::string& command);
    int32_t set(const std::string& command, const std::string& parameter);

  private:
    void expectDelivered(const ::ndk::ScopedAStatus& status) const;
    Failure notAnswered() const;

    std::string mInstance;
    ::ndk::SpAIBinder mBinder;
    std::shared_ptr<ILumvndhal> mService;
};

}  // namespace lumctl
