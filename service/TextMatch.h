#pragma once

#include <string>

namespace aidl::vendor::tav::lumvndhal_aidl {

// Byte by byte: upper and lower case count.
inline bool beginsWith(const std::string& text, const char* word) {
    return text.rfind(word, 0) == 0;
}

inline bool contains(const std::string& text, const char* word) {
    return text.find(word) != std::string::npos;
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
