#include "Limits.h"

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>
#include <android/binder_parcel_utils.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "Failure.h"

namespace lumctl {
namespace {

using ::aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;
constexpr uint64_t kFitsNowhere = std::numeric_limits<uint64_t>::max();

// An object of the service's interface that no call is ever made to.
const ::ndk::SpAIBinder& anyObject() {
    static const AIBinder_Class* const clazz = AIBinder_Class_define(
            ILumvndhal::descriptor, [](void* args) { return args; }, [](void*) {},
            [](AIBinder*, transaction_code_t, const AParcel*, AParcel*) -> binder_status_t {
                return STATUS_UNKNOWN_TRANSACTION;
            });
    static const ::ndk::SpAIBinder object(AIBinder_new(clazz, nullptr));
    return object;
}

// Writes the request as it would be sent, and looks at how large it is.
template <typename... Arguments>
uint64_t requestSize(const Arguments&... arguments) {
    ::ndk::ScopedAParcel request;
    const bool written =
            AIBinder_prepareTransaction(anyObject().get(), request.getR()) == STATUS_OK &&
            ((::ndk::AParcel_writeData(request.get(), arguments) == STATUS_OK) && ...);
    return written ? static_cast<uint64_t>(AParcel_getDataSize(request.get())) : kFitsNowhere;
}

std::string sizeOf(uint64_t size) {
    return std::to_string(size) + " bytes";
}

}  // namespace

uint64_t setRequestSize(std::string_view command, std::string_view parameter) {
    return requestSize(std::string(command), std::string(parameter));
}

// What a request without the file's bytes leaves is for them: each takes one.
uint64_t maxFileSize(Transport transport, std::string_view path) {
    if (transport != Transport::kCall) return kMaxBlock;
    const uint64_t others = requestSize(std::string(path), std::vector<uint8_t>(), int32_t{0});
    return kMaxRequest - std::min(kMaxRequest, others);
}

Transport chooseTransport(Transport wanted, std::string_view path, uint64_t size) {
    if (wanted == Transport::kQueue && size == 0) {
        throw Failure(kUsage, "an empty file cannot go through a queue: leave --via out");
    }
    const uint64_t most = maxFileSize(wanted, path);
    if (size > most && wanted == Transport::kCall) {
        throw Failure(kUsage, sizeOf(size) + " do not fit into the call, which takes " +
                                      sizeOf(most) + ": use --via queue");
    }
    if (size > most) {
        throw Failure(kUsage, sizeOf(size) + " are too many for one file, which takes " +
                                      sizeOf(most) + ": split it and store the pieces");
    }
    if (wanted != Transport::kEither) return wanted;
    const bool isSmall = size <= std::min(kSmallFile, maxFileSize(Transport::kCall, path));
    return isSmall ? Transport::kCall : Transport::kQueue;
}

}  // namespace lumctl
