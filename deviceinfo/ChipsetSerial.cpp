#include <cstdio>
#include <cstring>

#include "InputFile.h"
#include "Log.h"
#include "LumvndhalImpl.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

constexpr char kSocId[] = "/sys/devices/soc0/soc_id";
constexpr char kSerialNumber[] = "/sys/devices/soc0/serial_number";
constexpr char kNoValue[] = "-";
constexpr char kNoSerialNumber[] = "000000000";
constexpr size_t kValueSize = 128;
constexpr size_t kShortestValue = 2;  // its newline counted: the kernel ends a value with one

// Puts the first line of the node into `value`, which comes empty. False when there is no node.
bool readNode(const char* path, char (&value)[kValueSize]) {
    InputFile node(path);
    if (!node.isOpen()) return false;
    static_cast<void>(node.readLine(value));  // a node without a line has an empty value
    return true;
}

bool isTooShort(const char* value) {
    return std::strlen(value) < kShortestValue;
}

// Writes as much of the text as fits into `room` bytes with its NUL.
void put(char* out, size_t room, const char* text) {
    static_cast<void>(std::snprintf(out, room, "%s", text));
}

size_t lengthWithoutNewline(const char* text) {
    const size_t length = std::strlen(text);
    return length > 0 && text[length - 1] == '\n' ? length - 1 : length;
}

// Returns the place of the separator, which may lie behind the room.
size_t putSocId(char* out, size_t room) {
    char value[kValueSize] = {};
    if (!readNode(kSocId, value) || isTooShort(value)) {
        put(out, room, kNoValue);
        return std::strlen(kNoValue);
    }
    put(out, room, value);
    return lengthWithoutNewline(out);
}

void putSerialNumber(char* out, size_t room) {
    char value[kValueSize] = {};
    if (!readNode(kSerialNumber, value)) return put(out, room, kNoSerialNumber);
    put(out, room, isTooShort(value) ? kNoValue : value);
    out[lengthWithoutNewline(out)] = '\0';
}

}  // namespace

void LumvndhalImpl::get_chipset_serial(char* out, int* len) {
    LUM_LOGI("get_chipset_serial()");
    if (out == nullptr || *len <= 0) {
        *len = 0;
        LUM_LOGE("[ERROR] Invalid Parameter");
        return;
    }
    const size_t capacity = static_cast<size_t>(*len);
    const size_t separator = putSocId(out, capacity);
    const size_t serialNumber = separator + 1;
    if (separator < capacity) put(out + separator, capacity - separator, "+");
    if (serialNumber < capacity) putSerialNumber(out + serialNumber, capacity - serialNumber);
    *len = static_cast<int>(std::strlen(out));
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
