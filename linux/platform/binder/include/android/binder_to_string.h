#pragma once

#include <android/binder_auto_utils.h>

#include <string>
#include <type_traits>
#include <vector>

// Values of the types that parcels carry as text for people: strings as they are, "true" or
// "false", numbers in decimal, vectors as "[1, 2]", parcelables by their toString.

namespace android::internal {

template <typename T>
std::string ToString(const T& value);

template <typename T>
std::string ToString(const std::vector<T>& items) {
    std::string text = "[";
    for (const T& item : items) text.append(text.size() > 1 ? ", " : "").append(ToString(item));
    return text + "]";
}

template <typename T>
std::string ToString(const T& value) {
    if constexpr (std::is_same_v<T, bool>) {
        return value ? "true" : "false";
    } else if constexpr (std::is_same_v<T, std::string>) {
        return value;
    } else if constexpr (std::is_arithmetic_v<T>) {
        return std::to_string(value);
    } else if constexpr (std::is_same_v<T, ndk::ScopedFileDescriptor>) {
        return "fd:" + std::to_string(value.get());
    } else {
        return value.toString();
    }
}

}  // namespace android::internal
