#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>

namespace aidl::vendor::tav::lumvndhal_aidl {

// The module number that a text of nothing but digits stands for, leading zeros or not. None for
// the empty text and for more than 2147483647: the session operator never gets a number that was
// cut.
inline std::optional<uint32_t> toModuleNumber(const std::string& digits) {
    int32_t number = 0;
    const char* const begin = digits.data();
    if (std::from_chars(begin, begin + digits.size(), number).ec != std::errc()) return {};
    return static_cast<uint32_t>(number);
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
