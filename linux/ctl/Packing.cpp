#include "Packing.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>

#include "Device.h"
#include "Text.h"
#include "Utf8.h"

namespace lumctl {
namespace {

constexpr size_t kLengthField = 4;

std::string lengthField(size_t length) {
    std::string field;
    for (int shift = 24; shift >= 0; shift -= 8) {
        field += static_cast<char>((length >> shift) & 0xffU);
    }
    return field;
}

bool travelsAlways(size_t length) {
    return isUtf8(lengthField(length));
}

// A payload fits into a call, so the walk ends within a few ten thousand steps; 127 is always there
// below.
size_t nextLength(size_t length, bool upwards) {
    do {
        length = upwards ? length + 1 : length - 1;
    } while (!travelsAlways(length));
    return length;
}

Failure badLength(size_t length) {
    const size_t longer = nextLength(length, true);
    const bool fits = longer < kMaxRequest / sizeof(char16_t);
    return {kUsage,
            "a payload of " + std::to_string(length) +
                    " bytes cannot travel in a text: its length field is not valid UTF-8; " +
                    (fits ? "pad it to " + std::to_string(longer) + " bytes or " : "") +
                    "cut it to " + std::to_string(nextLength(length, false)) + " bytes"};
}

Failure badPayload(std::string_view payload, size_t offset) {
    const auto byte = static_cast<unsigned char>(payload[offset]);
    return {kUsage, "the payload cannot travel in a text: its byte " + std::to_string(offset) +
                            " (0x" + hexadecimal(byte) +
                            ") is not part of valid UTF-8; encode it, for example as base64"};
}

void requireName(const std::string& what, const std::string& name, std::string_view separators) {
    requireText(what, name);
    if (name.empty()) {
        throw Failure(kUsage, "an empty " + what + " names nothing: name one");
    }
    const size_t at = name.find_first_of(separators);
    if (at == std::string::npos) return;
    throw Failure(kUsage, "the " + what + " " + inQuotes(name) + " holds '" + name[at] +
                                  "', which separates fields on the way: use names without it");
}

// What file systems take, the dropbox's own name included; and lumctl asks about "PATH/.".
constexpr size_t kMaxPath = PATH_MAX - sizeof(kDropbox) - 2;

size_t longestName(std::string_view path) {
    size_t longest = 0;
    size_t length = 0;
    for (const char character : path) {
        length = character == '/' ? 0 : length + 1;
        longest = std::max(longest, length);
    }
    return longest;
}

Failure tooLong(const std::string& what, size_t size, size_t most) {
    return {kUsage, "the " + what + " has " + std::to_string(size) + " bytes, but at most " +
                            std::to_string(most) + " are possible: shorten it"};
}

}  // namespace

void requireText(std::string_view what, std::string_view text) {
    if (isUtf8(text)) return;
    throw Failure(kUsage, "the " + std::string(what) +
                                  " is not valid UTF-8 and would arrive altered: use another");
}

void requirePath(std::string_view path) {
    requireText("path", path);
    if (path.empty() || path.front() != '/') {
        throw Failure(kUsage, inQuotes(path) +
                                      " is no path in the dropbox: begin it with a slash, as in " +
                                      inQuotes("/" + std::string(path)));
    }
    if (path.size() > kMaxPath) throw tooLong("path", path.size(), kMaxPath);
    const size_t longest = longestName(path);
    if (longest > NAME_MAX) throw tooLong("name in the path", longest, NAME_MAX);
}

std::string packCampaign(const std::string& key, const std::vector<std::string>& collectors) {
    requireName("campaign key", key, ";");
    std::string text = key + ";";  // without a collector: all that run under the key
    for (const std::string& collector : collectors) {
        requireName("collector name", collector, ";,");
        if (text.size() > key.size() + 1) text += ",";
        text += collector;
    }
    return text;
}

std::string packModuleQuery(const std::string& module) {
    requireName("module number", module, ";");
    return "statusCamp;" + module;
}

Failure tooManyStatistics(uint64_t size) {
    return {kUsage, "a payload of " + std::to_string(size) +
                            " bytes does not fit into a call: store it with lumctl put"};
}

std::string packStatistics(std::string_view payload) {
    if (payload.empty()) {
        throw Failure(kUsage, "an empty payload cannot be stored: give at least one byte");
    }
    std::string block = lengthField(payload.size());
    block += payload;
    if (setRequestSize("LUMNETSTATS", block) > kMaxRequest) throw tooManyStatistics(payload.size());
    const size_t invalid = firstInvalidByte(block);
    if (invalid < kLengthField) throw badLength(payload.size());
    if (invalid < block.size()) throw badPayload(payload, invalid - kLengthField);
    return block;
}

}  // namespace lumctl
