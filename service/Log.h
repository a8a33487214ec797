#pragma once

#include <android/log.h>

#include <cstddef>

// Lines of the service in the platform log.
#define LUM_LOG_TAG "LUM:lumvndhal_aidl"
#define LUM_LOGV(...) __android_log_print(ANDROID_LOG_VERBOSE, LUM_LOG_TAG, __VA_ARGS__)
#define LUM_LOGD(...) __android_log_print(ANDROID_LOG_DEBUG, LUM_LOG_TAG, __VA_ARGS__)
#define LUM_LOGI(...) __android_log_print(ANDROID_LOG_INFO, LUM_LOG_TAG, __VA_ARGS__)
#define LUM_LOGE(...) __android_log_print(ANDROID_LOG_ERROR, LUM_LOG_TAG, __VA_ARGS__)

namespace aidl::vendor::tav::lumvndhal_aidl {

// Lines about a path begin behind as many characters as the dropbox root and its slash have, and
// are left out for a path that has no more.
constexpr size_t kUnloggedPathLength = 17;

}  // namespace aidl::vendor::tav::lumvndhal_aidl
