#include "Diagnostics.h"

#include <android/log.h>

#include <cstdarg>

namespace android::details {

bool refuse(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    __android_log_vprint(ANDROID_LOG_ERROR, "FMQ", format, arguments);
    va_end(arguments);
    return false;
}

}  // namespace android::details
