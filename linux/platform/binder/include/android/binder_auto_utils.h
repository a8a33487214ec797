#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_parcel.h>
#include <android/binder_status.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <utility>

// Owners for the plain-C objects: each releases what it holds when it goes out of scope.

namespace ndk {

namespace impl {

// The one thing in this file that knows how to own. `Release` is called with every value that is
// given up and is not `kNone`.
template <typename T, void (*Release)(T), T kNone>
class ScopedAResource {
  public:
    explicit ScopedAResource(T value = kNone) : mValue(value) {}
    ~ScopedAResource() { set(kNone); }
    ScopedAResource(ScopedAResource&& other) noexcept : mValue(other.release()) {}
    ScopedAResource& operator=(ScopedAResource&& other) noexcept {
        set(other.release());
        return *this;
    }
    ScopedAResource(const ScopedAResource&) = delete;
    ScopedAResource& operator=(const ScopedAResource&) = delete;

    T get() const { return mValue; }
    // Takes ownership of `value`, releasing what was held.
    void set(T value) {
        T old = std::exchange(mValue, value);
        if (old != kNone) Release(old);
    }
    // Gives ownership to the caller.
    [[nodiscard]] T release() { return std::exchange(mValue, kNone); }
    // For functions that fill a pointer. Nothing must be held yet.
    T* getR() { return &mValue; }

  private:
    T mValue;
};

inline void closeWithError(int fd) {
    ::close(fd);
}

}  // namespace impl

using ScopedAParcel = impl::ScopedAResource<AParcel*, AParcel_delete, nullptr>;
using ScopedAIBinder_DeathRecipient =
        impl::ScopedAResource<AIBinder_DeathRecipient*, AIBinder_DeathRecipient_delete, nullptr>;
using ScopedAIBinder_Weak = impl::ScopedAResource<AIBinder_Weak*, AIBinder_Weak_delete, nullptr>;

// Owns a file descriptor; -1 is none.
class ScopedFileDescriptor : public impl::ScopedAResource<int, impl::closeWithError, -1> {
  public:
    using ScopedAResource::ScopedAResource;

    // A second owner of a duplicate.
    ScopedFileDescriptor dup() const;
    bool operator==(const ScopedFileDescriptor& rhs) const { return get() == rhs.get(); }
    bool operator!=(const ScopedFileDescriptor& rhs) const { return get() != rhs.get(); }
    bool operator<(const ScopedFileDescriptor& rhs) const { return get() < rhs.get(); }
};

// A strong reference to a binder.
class SpAIBinder {
  public:
    SpAIBinder() = default;
    SpAIBinder(std::nullptr_t) {}  // NOLINT(google-explicit-constructor): as on Android
    // Takes over the caller's reference.
    explicit SpAIBinder(AIBinder* binder) : mBinder(binder) {}
    SpAIBinder(const SpAIBinder& other) : mBinder(other.mBinder) {
        if (mBinder != nullptr) AIBinder_incStrong(mBinder);
    }
    SpAIBinder(SpAIBinder&& other) noexcept : mBinder(std::exchange(other.mBinder, nullptr)) {}
    SpAIBinder& operator=(SpAIBinder other) noexcept {
        std::swap(mBinder, other.mBinder);
        return *this;
    }
    ~SpAIBinder() { set(nullptr); }

    AIBinder* get() const { return mBinder; }
    // Takes over the caller's reference, releasing what was held.
    void set(AIBinder* binder) {
        AIBinder* old = std::exchange(mBinder, binder);
        if (old != nullptr) AIBinder_decStrong(old);
    }
    AIBinder** getR() { return &mBinder; }
    bool operator==(const SpAIBinder& rhs) const { return mBinder == rhs.mBinder; }
    bool operator!=(const SpAIBinder& rhs) const { return mBinder != rhs.mBinder; }

  private:
    AIBinder* mBinder = nullptr;
};

// The outcome of an interface call. Move-only; a default-made one is not OK.
class ScopedAStatus : public impl::ScopedAResource<AStatus*, AStatus_delete, nullptr> {
  public:
    using ScopedAResource::ScopedAResource;

    static ScopedAStatus ok() { return ScopedAStatus(AStatus_newOk()); }
    static ScopedAStatus fromStatus(binder_status_t status) {
        return ScopedAStatus(AStatus_fromStatus(status));
    }
    static ScopedAStatus fromExceptionCode(binder_exception_t exception) {
        return ScopedAStatus(AStatus_fromExceptionCode(exception));
    }
    static ScopedAStatus fromExceptionCodeWithMessage(binder_exception_t exception,
                                                      const char* message) {
        return ScopedAStatus(AStatus_fromExceptionCodeWithMessage(exception, message));
    }
    static ScopedAStatus fromServiceSpecificError(int32_t error) {
        return ScopedAStatus(AStatus_fromServiceSpecificError(error));
    }

    bool isOk() const { return get() != nullptr && AStatus_isOk(get()); }
    binder_exception_t getExceptionCode() const {
        return get() == nullptr ? EX_TRANSACTION_FAILED : AStatus_getExceptionCode(get());
    }
    int32_t getServiceSpecificError() const {
        return get() == nullptr ? 0 : AStatus_getServiceSpecificError(get());
    }
    binder_status_t getStatus() const {
        return get() == nullptr ? STATUS_UNEXPECTED_NULL : AStatus_getStatus(get());
    }
    const char* getMessage() const { return get() == nullptr ? "" : AStatus_getMessage(get()); }
    std::string getDescription() const;
};

}  // namespace ndk
