#pragma once

namespace android::details {

// Writes one ERROR line under the library's own tag. Returns false, for the caller to pass on.
bool refuse(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace android::details
