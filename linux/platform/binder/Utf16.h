#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

// Text conversions as Android's parcels make them. Valid UTF-8 goes to UTF-16 and back unchanged,
// NUL characters included; what is not valid is altered but never refused, except for a last
// character whose bytes run past the end.

namespace standin {

// Code units that `size` bytes of UTF-8 take as UTF-16, or -1 when the last character is cut short.
ssize_t utf16Length(const char* utf8, size_t size);
// Writes utf16Length(utf8, size) code units. The text must have passed utf16Length.
void toUtf16(const char* utf8, size_t size, char16_t* out);

// Bytes that `size` code units of UTF-16 take as UTF-8. Surrogates without a partner take none.
size_t utf8Length(const char16_t* utf16, size_t size);
// Writes utf8Length(utf16, size) bytes.
void toUtf8(const char16_t* utf16, size_t size, char* out);

}  // namespace standin
