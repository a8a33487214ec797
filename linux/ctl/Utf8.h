#pragma once

#include <cstddef>
#include <string_view>

// Texts travel as UTF-16, so of all byte strings only valid UTF-8 arrives as it was sent.

namespace lumctl {

// Offset of the first byte that does not belong to a valid character, or text.size(). Strict: no
// overlong forms, no surrogates, nothing above U+10FFFF. NUL bytes are characters like any other.
size_t firstInvalidByte(std::string_view text);

inline bool isUtf8(std::string_view text) {
    return firstInvalidByte(text) == text.size();
}

}  // namespace lumctl
