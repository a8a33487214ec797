#pragma once

#include <android/binder_ibinder.h>

namespace aidl::vendor::tav::lumvndhal_aidl {

// Transaction codes: the methods in the order of their declaration, then what every interface has.
enum Transaction : transaction_code_t {
    kConfigure = FIRST_CALL_TRANSACTION,
    kRequestRead,
    kGetVndData,
    kSetVndData,
    kUpdateVendorDropbox,
    kWriteDataToVendorDropbox,
    kGetInterfaceHash = LAST_CALL_TRANSACTION - 1,
    kGetInterfaceVersion = LAST_CALL_TRANSACTION,
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
