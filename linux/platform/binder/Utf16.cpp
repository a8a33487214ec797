#include "Utf16.h"

#include <algorithm>

namespace standin {
namespace {

constexpr char32_t kFirstBeyondBmp = 0x10000;

// Only the lead byte counts: bytes that cannot lead stand for themselves.
size_t sequenceLength(uint8_t lead) {
    if (lead < 0xc0) return 1;
    if (lead < 0xe0) return 2;
    return lead < 0xf0 ? 3 : 4;
}

char32_t decodeUtf8(const uint8_t* bytes, size_t length) {
    if (length == 1) return bytes[0];
    char32_t character = bytes[0] & (0xffU >> (length + 1));
    for (size_t i = 1; i < length; ++i) character = (character << 6) | (bytes[i] & 0x3fU);
    return character;
}

// How many bytes at the start are ASCII, which stand for themselves. Eight at a time: nearly all
// text is ASCII from its start to its end.
size_t asciiPrefix(const char* utf8, size_t size) {
    size_t length = 0;
    for (uint64_t eight; size - length >= sizeof(eight); length += sizeof(eight)) {
        std::memcpy(&eight, utf8 + length, sizeof(eight));
        if ((eight & 0x8080808080808080U) != 0) break;
    }
    while (length < size && static_cast<uint8_t>(utf8[length]) < 0x80) ++length;
    return length;
}

// The same for the code units of UTF-16, four at a time.
size_t asciiPrefix(const char16_t* utf16, size_t size) {
    size_t length = 0;
    for (uint64_t four; size - length >= 4; length += 4) {
        std::memcpy(&four, reinterpret_cast<const char*>(utf16 + length), sizeof(four));
        if ((four & 0xff80ff80ff80ff80U) != 0) break;
    }
    while (length < size && unitAt(utf16, length) < 0x80) ++length;
    return length;
}

// Calls take(character) for each character; false when the last one is cut short.
template <typename Take>
bool eachUtf8(const char* utf8, size_t size, Take take) {
    const auto* at = reinterpret_cast<const uint8_t*>(utf8);
    const uint8_t* const end = at + size;
    while (at < end) {
        const size_t length = sequenceLength(*at);
        if (length > static_cast<size_t>(end - at)) return false;
        take(decodeUtf8(at, length));
        at += length;
    }
    return true;
}

bool isHigh(char32_t unit) {
    return (unit & 0xfc00U) == 0xd800U;
}

bool isLow(char32_t unit) {
    return (unit & 0xfc00U) == 0xdc00U;
}

// Calls take(character) for each character, leaving out surrogates without a partner.
template <typename Take>
void eachUtf16(const char16_t* utf16, size_t size, Take take) {
    for (size_t i = 0; i < size; ++i) {
        const char32_t unit = unitAt(utf16, i);
        if (isHigh(unit) && i + 1 < size && isLow(unitAt(utf16, i + 1))) {
            ++i;
            take(kFirstBeyondBmp + ((unit - 0xd800U) << 10) + (unitAt(utf16, i) - 0xdc00U));
        } else if (!isHigh(unit) && !isLow(unit)) {
            take(unit);
        }
    }
}

size_t utf8Bytes(char32_t character) {
    if (character < 0x80) return 1;
    if (character < 0x800) return 2;
    return character < kFirstBeyondBmp ? 3 : 4;
}

}  // namespace

ssize_t utf16Length(const char* utf8, size_t size) {
    const size_t ascii = asciiPrefix(utf8, size);
    auto units = static_cast<ssize_t>(ascii);
    const bool whole = eachUtf8(utf8 + ascii, size - ascii, [&](char32_t character) {
        units += character < kFirstBeyondBmp ? 1 : 2;
    });
    return whole ? units : -1;
}

void toUtf16(const char* utf8, size_t size, char16_t* out) {
    const size_t ascii = asciiPrefix(utf8, size);
    out = std::copy(utf8, utf8 + ascii, out);
    eachUtf8(utf8 + ascii, size - ascii, [&](char32_t character) {
        if (character < kFirstBeyondBmp) {
            *out++ = static_cast<char16_t>(character);
            return;
        }
        character -= kFirstBeyondBmp;
        *out++ = static_cast<char16_t>(0xd800U + (character >> 10));
        *out++ = static_cast<char16_t>(0xdc00U + (character & 0x3ffU));
    });
}

size_t utf8Length(const char16_t* utf16, size_t size) {
    const size_t ascii = asciiPrefix(utf16, size);
    size_t bytes = ascii;
    eachUtf16(utf16 + ascii, size - ascii,
              [&](char32_t character) { bytes += utf8Bytes(character); });
    return bytes;
}

void toUtf8(const char16_t* utf16, size_t size, char* out) {
    const size_t ascii = asciiPrefix(utf16, size);
    for (size_t i = 0; i < ascii; ++i) *out++ = static_cast<char>(unitAt(utf16, i));
    eachUtf16(utf16 + ascii, size - ascii, [&](char32_t character) {
        const size_t bytes = utf8Bytes(character);
        for (size_t i = bytes - 1; i > 0; --i, character >>= 6) {
            out[i] = static_cast<char>(0x80U | (character & 0x3fU));
        }
        const unsigned mark = bytes == 1 ? 0 : 0xff00U >> bytes;
        *out = static_cast<char>((mark & 0xffU) | character);
        out += bytes;
    });
}

}  // namespace standin
