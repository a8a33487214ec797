#include "Limits.h"

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>

#include <algorithm>
#include <string>

#include "Failure.h"
#include "Text.h"
#include "Utf8.h"

namespace lumctl {
namespace {

constexpr uint64_t kInt = sizeof(int32_t);
constexpr uint64_t kTokenHeader = 3 * kInt;

uint64_t padded(uint64_t bytes) {
    return (bytes + 3) & ~uint64_t{3};
}

// The count of units, the units, and a terminator.
uint64_t textSize(std::string_view text) {
    return kInt + padded((utf16Units(text) + 1) * sizeof(char16_t));
}

uint64_t tokenSize() {
    return kTokenHeader + textSize(::aidl::vendor::tav::lumvndhal_aidl::ILumvndhal::descriptor);
}

std::string sizeOf(uint64_t size) {
    return std::to_string(size) + " bytes";
}

}  // namespace

uint64_t writeRequestSize(std::string_view path, uint64_t size) {
    return tokenSize() + textSize(path) + kInt + padded(size) + kInt;
}

uint64_t setRequestSize(std::string_view command, std::string_view parameter) {
    return tokenSize() + textSize(command) + textSize(parameter);
}

uint64_t maxFileSize(Way way, std::string_view path) {
    if (way != Way::kCall) return kMaxBlock;
    return kMaxRequest - std::min(kMaxRequest, writeRequestSize(path, 0));
}

Way chooseWay(Way wanted, std::string_view path, uint64_t size) {
    if (wanted == Way::kQueue && size == 0) {
        throw Failure(kUsage, "an empty file cannot go through a queue: leave --via out");
    }
    const uint64_t most = maxFileSize(wanted, path);
    if (size > most && wanted == Way::kCall) {
        throw Failure(kUsage, sizeOf(size) + " do not fit into the call, which takes " +
                                      sizeOf(most) + ": use --via queue");
    }
    if (size > most) {
        throw Failure(kUsage, sizeOf(size) + " are too many for one file, which takes " +
                                      sizeOf(most) + ": split it and store the pieces");
    }
    if (wanted != Way::kEither) return wanted;
    return size <= std::min(kSmallFile, maxFileSize(Way::kCall, path)) ? Way::kCall : Way::kQueue;
}

}  // namespace lumctl
