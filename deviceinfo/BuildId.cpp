#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "InputFile.h"
#include "Log.h"
#include "LumvndhalImpl.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

constexpr char kVersionFile[] = "/vendor/firmware_mnt/verinfo/ver_info.txt";
constexpr char kName[] = "get_build_id";
constexpr size_t kLineSize = 128;
constexpr size_t kResultSize = 128;

// One half of the build identifier.
struct Identifier {
    const char* keyWord;
    const char* noMemory;           // what is logged when its value cannot be kept
    std::unique_ptr<char[]> value;  // escaped; null until a line gives it

    bool isGivenBy(const char* key) const {
        return value == nullptr && std::strstr(key, keyWord) != nullptr;
    }
    const char* text() const { return value == nullptr ? "N/A" : value.get(); }
};

// Cuts a line at its double quotes:  "key": "value",
// The key is the second piece and the value the fourth, since whatever stands before the key's
// opening quote is a piece as well. Quotes side by side have no piece between them. False when
// there are fewer than four.
bool cutLine(char* line, const char** key, char** value) {
    char* pieces[4];
    char* rest = nullptr;
    for (char*& piece : pieces) {
        piece = ::strtok_r(line, "\"", &rest);
        if (piece == nullptr) return false;
        line = nullptr;
    }
    *key = pieces[1];
    *value = pieces[3];
    return true;
}

}  // namespace

int LumvndhalImpl::escapeColonAndBar(char* dst, char* src) {
    if (dst == nullptr || src == nullptr) return 1;
    for (; *src != '\0'; ++src) {
        if (*src == '|' || *src == ':') *dst++ = *src;
        *dst++ = *src;
    }
    *dst = '\0';
    return 0;
}

void LumvndhalImpl::get_build_id(char* out, int* len) {
    InputFile file(kVersionFile);
    if (!file.isOpen()) {
        LUM_LOGI("%s: %s file not exist. Use platform BuildId\n", kName, kVersionFile);
        return;
    }
    Identifier apps = {"apps_vendor", "malloc fail", nullptr};
    Identifier meta = {"Meta_Build_ID", "malloc failed", nullptr};
    char line[kLineSize] = {};
    while (file.readLine(line)) {
        const char* key;
        char* value;
        if (!cutLine(line, &key, &value)) continue;
        Identifier& identifier = apps.isGivenBy(key) ? apps : meta;
        if (!identifier.isGivenBy(key)) continue;
        identifier.value.reset(new (std::nothrow) char[2 * std::strlen(value) + 1]);
        if (identifier.value == nullptr) {
            LUM_LOGI("%s: %s\n", kName, identifier.noMemory);
            return;
        }
        escapeColonAndBar(identifier.value.get(), value);
    }
    file.close();
    if (apps.value == nullptr && meta.value == nullptr) {
        LUM_LOGI("%s: Both APPS_ID and META_ID are not found. Use platform BuildId\n", kName);
        return;
    }
    static_cast<void>(std::snprintf(out, kResultSize, "%s|%s", apps.text(), meta.text()));
    *len = static_cast<int>(std::strlen(out));
    LUM_LOGI("%s data = [%s] data_size = %d\n", kName, out, *len);
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
