#include <android/binder_parcel_utils.h>
#include <android/binder_status.h>

#include <cstring>
#include <string>
#include <utility>

#include "Parcel.h"

struct AStatus {
    binder_exception_t exception = EX_NONE;
    int32_t serviceSpecific = 0;
    binder_status_t status = STATUS_OK;
    std::string message;
};

namespace {

// Every OK status is this one: it carries nothing, so nothing is allocated or released for it.
AStatus* okStatus() {
    static AStatus& ok = *new AStatus;
    return &ok;
}

// From EX_NONE downwards.
constexpr const char* kExceptionNames[] = {"EX_NONE",
                                           "EX_SECURITY",
                                           "EX_BAD_PARCELABLE",
                                           "EX_ILLEGAL_ARGUMENT",
                                           "EX_NULL_POINTER",
                                           "EX_ILLEGAL_STATE",
                                           "EX_NETWORK_MAIN_THREAD",
                                           "EX_UNSUPPORTED_OPERATION",
                                           "EX_SERVICE_SPECIFIC",
                                           "EX_PARCELABLE"};

// A code that is not known says no more than that the call failed.
binder_exception_t knownException(binder_exception_t exception) {
    return exception <= EX_NONE && exception >= EX_PARCELABLE ? exception : EX_TRANSACTION_FAILED;
}

const char* exceptionName(binder_exception_t exception) {
    return exception == EX_TRANSACTION_FAILED ? "EX_TRANSACTION_FAILED"
                                              : kExceptionNames[-exception];
}

const char* orEmpty(const char* message) {
    return message == nullptr ? "" : message;
}

AStatus* newStatus(binder_exception_t exception, std::string message) {
    exception = knownException(exception);
    const bool failed = exception == EX_TRANSACTION_FAILED;
    return new AStatus{exception, 0, failed ? STATUS_FAILED_TRANSACTION : STATUS_OK,
                       std::move(message)};
}

constexpr std::pair<binder_status_t, const char*> kStatusNames[] = {
        {STATUS_UNKNOWN_ERROR, "UNKNOWN_ERROR"},
        {STATUS_BAD_TYPE, "BAD_TYPE"},
        {STATUS_DEAD_OBJECT, "DEAD_OBJECT"},
        {STATUS_FAILED_TRANSACTION, "FAILED_TRANSACTION"},
        {STATUS_FDS_NOT_ALLOWED, "FDS_NOT_ALLOWED"},
        {STATUS_UNEXPECTED_NULL, "UNEXPECTED_NULL"},
        {STATUS_UNKNOWN_TRANSACTION, "UNKNOWN_TRANSACTION"},
        {STATUS_NOT_ENOUGH_DATA, "NOT_ENOUGH_DATA"}};

std::string statusName(binder_status_t status) {
    for (const auto& [known, name] : kStatusNames) {
        if (known == status) return name;
    }
    const char* text = status < 0 && status > -4096 ? ::strerrordesc_np(-status) : nullptr;
    return std::to_string(status) + (text == nullptr ? "" : std::string(" ") + text);
}

}  // namespace

AStatus* AStatus_newOk() {
    return okStatus();
}

AStatus* AStatus_fromExceptionCode(binder_exception_t exception) {
    return AStatus_fromExceptionCodeWithMessage(exception, nullptr);
}

AStatus* AStatus_fromExceptionCodeWithMessage(binder_exception_t exception, const char* message) {
    return exception == EX_NONE ? okStatus() : newStatus(exception, orEmpty(message));
}

AStatus* AStatus_fromServiceSpecificError(int32_t serviceSpecific) {
    return AStatus_fromServiceSpecificErrorWithMessage(serviceSpecific, nullptr);
}

AStatus* AStatus_fromServiceSpecificErrorWithMessage(int32_t serviceSpecific, const char* message) {
    AStatus* status = newStatus(EX_SERVICE_SPECIFIC, orEmpty(message));
    status->serviceSpecific = serviceSpecific;
    return status;
}

AStatus* AStatus_fromStatus(binder_status_t status) {
    if (status == STATUS_OK) return okStatus();
    AStatus* failed = newStatus(EX_TRANSACTION_FAILED, "");
    failed->status = status;
    return failed;
}

bool AStatus_isOk(const AStatus* status) {
    return status->exception == EX_NONE;
}

binder_exception_t AStatus_getExceptionCode(const AStatus* status) {
    return status->exception;
}

int32_t AStatus_getServiceSpecificError(const AStatus* status) {
    return status->serviceSpecific;
}

binder_status_t AStatus_getStatus(const AStatus* status) {
    return status->status;
}

const char* AStatus_getMessage(const AStatus* status) {
    return status->message.c_str();
}

const char* AStatus_getDescription(const AStatus* status) {
    std::string text = "Status(" + std::to_string(status->exception) + ", " +
                       exceptionName(status->exception) + "): '";
    if (status->exception == EX_SERVICE_SPECIFIC) {
        text += std::to_string(status->serviceSpecific) + ": ";
    } else if (status->exception == EX_TRANSACTION_FAILED) {
        text += statusName(status->status) + ": ";
    }
    text += status->message + "'";
    return ::strdup(text.c_str());
}

void AStatus_deleteDescription(const char* description) {
    std::free(const_cast<char*>(description));
}

void AStatus_delete(AStatus* status) {
    if (status != okStatus()) delete status;
}

binder_status_t AParcel_writeStatusHeader(AParcel* parcel, const AStatus* status) {
    if (status->exception == EX_TRANSACTION_FAILED) return status->status;
    binder_status_t written = AParcel_writeInt32(parcel, status->exception);
    if (written != STATUS_OK || status->exception == EX_NONE) return written;
    written = ndk::AParcel_writeString(parcel, status->message);
    if (written == STATUS_OK) written = AParcel_writeInt32(parcel, 0);  // no remote stack trace
    if (written == STATUS_OK && status->exception == EX_SERVICE_SPECIFIC) {
        written = AParcel_writeInt32(parcel, status->serviceSpecific);
    }
    return written;
}

binder_status_t AParcel_readStatusHeader(const AParcel* parcel, AStatus** status) {
    binder_exception_t exception = EX_NONE;
    binder_status_t result = AParcel_readInt32(parcel, &exception);
    if (result == STATUS_OK && exception == EX_NONE) {
        *status = okStatus();
        return STATUS_OK;
    }
    std::string message;  // stays empty when the sender has none
    int32_t stackTraceSize = 0;
    int32_t serviceSpecific = 0;
    if (result == STATUS_OK) static_cast<void>(ndk::AParcel_readString(parcel, &message));
    if (result == STATUS_OK) result = AParcel_readInt32(parcel, &stackTraceSize);
    if (result == STATUS_OK && exception == EX_SERVICE_SPECIFIC) {
        result = AParcel_readInt32(parcel, &serviceSpecific);
    }
    if (result != STATUS_OK) return result;
    *status = newStatus(exception, std::move(message));
    (*status)->serviceSpecific = serviceSpecific;
    return STATUS_OK;
}

std::string ndk::ScopedAStatus::getDescription() const {
    if (get() == nullptr) return "Status(no status)";
    const char* text = AStatus_getDescription(get());
    std::string description = text;
    AStatus_deleteDescription(text);
    return description;
}
