#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

// Text conversions as Android's parcels make them. Valid UTF-8 goes to UTF-16 and back unchanged,
// NUL characters included; what is not valid is altered but never refused, except for a last
// character whose bytes run past the end.

namespace standin {

// Code units that `size` bytes of UTF-8 take as UTF-16, or -1 when the last character is cut short.
ssize_t utf16Length(const char* utf8, size_t size);
// Writes utf16Length(utf8, size) code units. The text must have passed utf16Length.
void toUtf16(const char* utf8, size_t size, char16_t* out);

// A unit of a text at any address: behind a parcelable whose sender gives it an odd size, nothing
// is aligned.
inline char16_t unitAt(const char16_t* utf16, size_t index) {
    char16_t unit;
    std::memcpy(&unit, reinterpret_cast<const char*>(utf16) + index * sizeof(unit), sizeof(unit));
    return unit;
}

// Bytes that `size` code units of UTF-16 take as UTF-8. Surrogates without a partner take none.
size_t utf8Length(const char16_t* utf16, size_t size);
// Writes utf8Length(utf16, size) bytes.
void toUtf8(const char16_t* utf16, size_t size, char* out);

}  // namespace standin
