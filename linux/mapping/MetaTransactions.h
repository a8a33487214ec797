#pragma once

#include <android/binder_ibinder.h>

namespace aidl::vendor::tav::lumvndhal_aidl {

// What every versioned interface answers besides its methods.
constexpr transaction_code_t kGetInterfaceVersion = LAST_CALL_TRANSACTION;
constexpr transaction_code_t kGetInterfaceHash = LAST_CALL_TRANSACTION - 1;

}  // namespace aidl::vendor::tav::lumvndhal_aidl
