#pragma once

#include <cstdint>

namespace ndk {

// How far a parcelable may travel: to what was built with it, or across the system/vendor border.
using parcelable_stability_t = int32_t;
enum : parcelable_stability_t { STABILITY_LOCAL, STABILITY_VINTF };

}  // namespace ndk
