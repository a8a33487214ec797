#include "Utf8.h"

#include <cstdint>

namespace lumctl {
namespace {

// What may follow a lead byte: the range of the second byte is what tells valid sequences from
// overlong forms, surrogates and values above U+10FFFF.
struct Sequence {
    size_t length = 0;  // 0: not a lead byte
    uint8_t secondMin = 0x80;
    uint8_t secondMax = 0xbf;
};

Sequence sequenceOf(uint8_t lead) {
    if (lead < 0x80) return {1};
    if (lead < 0xc2) return {};
    if (lead < 0xe0) return {2};
    if (lead == 0xe0) return {3, 0xa0};
    if (lead == 0xed) return {3, 0x80, 0x9f};
    if (lead < 0xf0) return {3};
    if (lead == 0xf0) return {4, 0x90};
    if (lead < 0xf4) return {4};
    if (lead == 0xf4) return {4, 0x80, 0x8f};
    return {};
}

bool startsWithCharacter(std::string_view text, const Sequence& sequence) {
    if (sequence.length == 0 || sequence.length > text.size()) return false;
    if (sequence.length == 1) return true;
    const auto second = static_cast<uint8_t>(text[1]);
    if (second < sequence.secondMin || second > sequence.secondMax) return false;
    for (size_t i = 2; i < sequence.length; ++i) {
        if ((static_cast<uint8_t>(text[i]) & 0xc0U) != 0x80U) return false;
    }
    return true;
}

}  // namespace

size_t firstInvalidByte(std::string_view text) {
    size_t at = 0;
    while (at < text.size()) {
        const Sequence sequence = sequenceOf(static_cast<uint8_t>(text[at]));
        if (!startsWithCharacter(text.substr(at), sequence)) break;
        at += sequence.length;
    }
    return at;
}

}  // namespace lumctl
