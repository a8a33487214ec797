#pragma once

#include <cstdint>
#include <string>

namespace aidl::android::hardware::common::fmq {

// A queue's flavour: one writer and any number of readers; the writer overwrites what has not been
// read.
enum class UnsynchronizedWrite : int8_t { EMPTY };

[[nodiscard]] inline std::string toString(UnsynchronizedWrite value) {
    return value == UnsynchronizedWrite::EMPTY ? "EMPTY"
                                               : std::to_string(static_cast<int8_t>(value));
}

}  // namespace aidl::android::hardware::common::fmq
