#pragma once

#include <cstdint>
#include <string>

namespace aidl::android::hardware::common::fmq {

// A queue's flavour: one writer and one reader; the writer never overwrites what has not been read.
enum class SynchronizedReadWrite : int8_t { EMPTY };

[[nodiscard]] inline std::string toString(SynchronizedReadWrite value) {
    return value == SynchronizedReadWrite::EMPTY ? "EMPTY"
                                                 : std::to_string(static_cast<int8_t>(value));
}

}  // namespace aidl::android::hardware::common::fmq
