#pragma once

#include <cerrno>
#include <cstdint>

// Results of the binder calls. Where a kernel error says the same, its negative value is used.

using binder_status_t = int32_t;

enum : binder_status_t {
    STATUS_OK = 0,
    STATUS_UNKNOWN_ERROR = INT32_MIN,
    STATUS_NO_MEMORY = -ENOMEM,
    STATUS_INVALID_OPERATION = -ENOSYS,
    STATUS_BAD_VALUE = -EINVAL,
    STATUS_BAD_TYPE = STATUS_UNKNOWN_ERROR + 1,
    STATUS_NAME_NOT_FOUND = -ENOENT,
    STATUS_PERMISSION_DENIED = -EPERM,
    STATUS_NO_INIT = -ENODEV,
    STATUS_ALREADY_EXISTS = -EEXIST,
    STATUS_DEAD_OBJECT = -EPIPE,
    STATUS_FAILED_TRANSACTION = STATUS_UNKNOWN_ERROR + 2,
    STATUS_BAD_INDEX = -EOVERFLOW,
    STATUS_NOT_ENOUGH_DATA = -ENODATA,
    STATUS_WOULD_BLOCK = -EWOULDBLOCK,
    STATUS_TIMED_OUT = -ETIMEDOUT,
    STATUS_UNKNOWN_TRANSACTION = -EBADMSG,
    STATUS_FDS_NOT_ALLOWED = STATUS_UNKNOWN_ERROR + 7,
    STATUS_UNEXPECTED_NULL = STATUS_UNKNOWN_ERROR + 8,
};

// What kind of failure a status object carries. Negative by definition.
using binder_exception_t = int32_t;

enum : binder_exception_t {
    EX_NONE = 0,
    EX_SECURITY = -1,
    EX_BAD_PARCELABLE = -2,
    EX_ILLEGAL_ARGUMENT = -3,
    EX_NULL_POINTER = -4,
    EX_ILLEGAL_STATE = -5,
    EX_NETWORK_MAIN_THREAD = -6,
    EX_UNSUPPORTED_OPERATION = -7,
    EX_SERVICE_SPECIFIC = -8,
    EX_PARCELABLE = -9,
    EX_TRANSACTION_FAILED = -129,
};

extern "C" {

// The outcome of an interface call. Owned by whoever holds the pointer; released with
// AStatus_delete. The OK status is a shared constant: making one allocates nothing.
struct AStatus;

AStatus* AStatus_newOk();
AStatus* AStatus_fromExceptionCode(binder_exception_t exception);
AStatus* AStatus_fromExceptionCodeWithMessage(binder_exception_t exception, const char* message);
AStatus* AStatus_fromServiceSpecificError(int32_t serviceSpecific);
AStatus* AStatus_fromServiceSpecificErrorWithMessage(int32_t serviceSpecific, const char* message);
// A failure of the transport: exception EX_TRANSACTION_FAILED, or OK for STATUS_OK.
AStatus* AStatus_fromStatus(binder_status_t status);

bool AStatus_isOk(const AStatus* status);
binder_exception_t AStatus_getExceptionCode(const AStatus* status);
// 0 unless the exception is EX_SERVICE_SPECIFIC.
int32_t AStatus_getServiceSpecificError(const AStatus* status);
// STATUS_OK unless the exception is EX_TRANSACTION_FAILED.
binder_status_t AStatus_getStatus(const AStatus* status);
// Valid as long as the status.
const char* AStatus_getMessage(const AStatus* status);
// A text for people, to be released with AStatus_deleteDescription.
const char* AStatus_getDescription(const AStatus* status);
void AStatus_deleteDescription(const char* description);
void AStatus_delete(AStatus* status);

}  // extern "C"
