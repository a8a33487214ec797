#include <cutils/properties.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "InputFile.h"
#include "Log.h"
#include "LumvndhalImpl.h"

// The count is kept by another component of the device; here it is only read.
#define LUM_FACTORY_RESET_COUNT_PERSIST_DIR "/mnt/vendor/persist/lum"
#define LUM_FACTORY_RESET_COUNT_PERSIST_FILE LUM_FACTORY_RESET_COUNT_PERSIST_DIR "/frc.dat"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

constexpr size_t kLineSize = 100;

bool exists(const char* path) {
    return ::access(path, F_OK) == 0;
}

}  // namespace

int64_t LumvndhalImpl::get_factory_reset_count() {
    constexpr char kName[] = "get_factory_reset_count";
    if (!exists(LUM_FACTORY_RESET_COUNT_PERSIST_DIR)) {
        LUM_LOGI("%s:Cannot find LUM_FACTORY_RESET_COUNT_PERSIST_DIR", kName);
        return 0;
    }
    if (!exists(LUM_FACTORY_RESET_COUNT_PERSIST_FILE)) {
        LUM_LOGI("%s:Cannot find LUM_FACTORY_RESET_COUNT_PERSIST_FILE", kName);
        return 0;
    }
    InputFile file(LUM_FACTORY_RESET_COUNT_PERSIST_FILE);
    if (!file.isOpen()) {
        LUM_LOGE("%s:Could not open LUM_FACTORY_RESET_COUNT_PERSIST_FILE", kName);
        return 0;
    }
    char line[kLineSize] = {};
    static_cast<void>(file.readLine(line));  // a file without a line counts as 0
    file.close();
    // Reads as atoll does, but a number too large is the largest one instead of anything at all.
    const long long count = std::strtoll(line, nullptr, 10);
    LUM_LOGI("%s:LUM_FACTORY_RESET_COUNT_PERSIST_FILE : %lld, %s", kName, count, line);
    return count;
}

bool LumvndhalImpl::check_property_value(const char* key, const char* expected) {
    char value[PROPERTY_VALUE_MAX] = {};
    const int length = ::property_get(key, value, "");
    if (length >= 1 && std::strcmp(expected, value) == 0) return true;
    LUM_LOGI("FRC:%s = %s", key, value);
    return false;
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
