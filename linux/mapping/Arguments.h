// The arguments of a call by their direction, for stub and proxy alike. An argument does nothing
// where one of the other direction has something to do.
#pragma once

#include <android/binder_parcel_utils.h>
#include <android/binder_to_string.h>

#include <string>
#include <utility>
#include <vector>

namespace aidl::vendor::tav::lumvndhal_aidl {

using NamedTexts = std::vector<std::pair<std::string, std::string>>;

// T is the value's type in the stub, which owns it, and a reference in the proxy.
template <typename T>
struct In {
    const char* name;
    T value;

    const T& forMethod() { return value; }
    binder_status_t writeRequest(AParcel* to) const { return ::ndk::AParcel_writeData(to, value); }
    binder_status_t readRequest(const AParcel* from) {
        return ::ndk::AParcel_readData(from, &value);
    }
    static binder_status_t writeReply(AParcel*) { return STATUS_OK; }
    static binder_status_t readReply(const AParcel*) { return STATUS_OK; }
    void describeInput(NamedTexts* inputs) const {
        inputs->emplace_back(name, ::android::internal::ToString(value));
    }
    static void describeOutput(NamedTexts*) {}
};

template <typename T>
struct Out {
    const char* name;
    T value;

    auto* forMethod() { return &value; }
    static binder_status_t writeRequest(AParcel*) { return STATUS_OK; }
    static binder_status_t readRequest(const AParcel*) { return STATUS_OK; }
    binder_status_t writeReply(AParcel* to) const { return ::ndk::AParcel_writeData(to, value); }
    binder_status_t readReply(const AParcel* from) { return ::ndk::AParcel_readData(from, &value); }
    static void describeInput(NamedTexts*) {}
    void describeOutput(NamedTexts* outputs) const {
        outputs->emplace_back(name, ::android::internal::ToString(value));
    }
};

}  // namespace aidl::vendor::tav::lumvndhal_aidl
