#pragma once

#include <cerrno>
#include <cstdint>

// Android's native error codes, as far as the queue library returns them: 0 or a negative errno.

namespace android {

using status_t = int32_t;

enum : status_t {
    OK = 0,
    NO_ERROR = OK,
    NO_MEMORY = -ENOMEM,
    BAD_VALUE = -EINVAL,
    TIMED_OUT = -ETIMEDOUT,
    WOULD_BLOCK = -EWOULDBLOCK,
};

}  // namespace android
