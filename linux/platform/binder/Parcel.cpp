#include "Parcel.h"

#include <android/binder_parcel_utils.h>
#include <fcntl.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Utf16.h"

namespace {

constexpr int32_t kNull = -1;
constexpr int32_t kStrictModePolicy = INT32_MIN;
constexpr int32_t kNoWorkSource = -1;
constexpr int32_t kSystemHeader = 0x53595354;     // "SYST"
constexpr uint32_t kDescriptorType = 0x66642a85;  // "fd*" and the mark of a large type

// How a descriptor stands in a parcel. In a parcel that travels, `index` counts the descriptors
// that travel beside it.
struct DescriptorObject {
    uint32_t type;
    uint32_t flags;
    uint32_t index;
    uint32_t unused;
    uint64_t owned;
};
static_assert(sizeof(DescriptorObject) == 24);

size_t padded(size_t bytes) {
    return (bytes + 3) & ~size_t{3};
}

}  // namespace

AParcel::~AParcel() {
    if (isOnHeap()) std::free(mBytes);
}

bool AParcel::setPosition(size_t position) const {
    if (position > mSize) return false;
    mPosition = position;
    return true;
}

bool AParcel::grow(size_t capacity) {
    if (capacity > INT32_MAX || mCapacity == 0) return false;
    const size_t grown = std::max(capacity, mCapacity * 2);
    void* const bytes = std::realloc(isOnHeap() ? mBytes : nullptr, grown);
    if (bytes == nullptr) return false;
    if (!isOnHeap()) std::memcpy(bytes, mSmall, mSize);
    mBytes = static_cast<uint8_t*>(bytes);
    mCapacity = grown;
    return true;
}

void* AParcel::put(size_t bytes) {
    if (bytes > INT32_MAX) return nullptr;
    const size_t end = mPosition + padded(bytes);
    if (!reserve(end)) return nullptr;
    if (bytes % 4 != 0) std::memset(mBytes + end - 4, 0, 4);  // the padding, and what covers it
    void* at = mBytes + mPosition;
    mPosition = end;
    if (mSize < end) mSize = end;
    return at;
}

const void* AParcel::take(size_t bytes) const {
    if (bytes > INT32_MAX || padded(bytes) > left()) return nullptr;
    const void* at = mBytes + mPosition;
    mPosition += padded(bytes);
    return at;
}

void AParcel::reset() {
    fds.clear();
    mSize = mPosition = 0;
    if (mCapacity <= standin::kKeptBuffer) return;
    std::free(mBytes);
    mBytes = mSmall;
    mCapacity = sizeof(mSmall);
}

bool AParcel::assign(const uint8_t* data, size_t size) {
    if (!reserve(size)) return false;
    if (size != 0) std::memcpy(mBytes, data, size);
    mSize = size;
    mPosition = 0;
    return true;
}

AParcel* AParcel_create() {
    return new AParcel;
}

void AParcel_delete(AParcel* parcel) {
    delete parcel;
}

int32_t AParcel_getDataSize(const AParcel* parcel) {
    return static_cast<int32_t>(parcel->size());
}

int32_t AParcel_getDataPosition(const AParcel* parcel) {
    return static_cast<int32_t>(parcel->position());
}

binder_status_t AParcel_setDataPosition(const AParcel* parcel, int32_t position) {
    const bool inside = position >= 0 && parcel->setPosition(static_cast<size_t>(position));
    return inside ? STATUS_OK : STATUS_BAD_VALUE;
}

binder_status_t AParcel_writeInt32(AParcel* parcel, int32_t value) {
    return parcel->putValue(value);
}

binder_status_t AParcel_writeInt64(AParcel* parcel, int64_t value) {
    return parcel->putValue(value);
}

binder_status_t AParcel_writeBool(AParcel* parcel, bool value) {
    return parcel->putValue<int32_t>(value ? 1 : 0);
}

binder_status_t AParcel_readInt32(const AParcel* parcel, int32_t* value) {
    return parcel->takeValue(value);
}

binder_status_t AParcel_readInt64(const AParcel* parcel, int64_t* value) {
    return parcel->takeValue(value);
}

binder_status_t AParcel_readBool(const AParcel* parcel, bool* value) {
    int32_t number = 0;
    const binder_status_t status = parcel->takeValue(&number);
    if (status == STATUS_OK) *value = number != 0;
    return status;
}

binder_status_t AParcel_writeString(AParcel* parcel, const char* text, int32_t length) {
    if (text == nullptr) return length == -1 ? parcel->putValue(kNull) : STATUS_BAD_VALUE;
    if (length < 0) return STATUS_BAD_VALUE;
    const ssize_t units = standin::utf16Length(text, static_cast<size_t>(length));
    if (units < 0) return STATUS_BAD_VALUE;
    const binder_status_t status = parcel->putValue(static_cast<int32_t>(units));
    if (status != STATUS_OK) return status;
    const size_t bytes = (static_cast<size_t>(units) + 1) * sizeof(char16_t);
    auto* to = static_cast<char16_t*>(parcel->put(bytes));
    if (to == nullptr) return STATUS_NO_MEMORY;
    standin::toUtf16(text, static_cast<size_t>(length), to);
    to[units] = 0;
    return STATUS_OK;
}

namespace {

// The text of so many code units at the position; null when it is null, cut short or not
// terminated.
const char16_t* takeText(const AParcel& parcel, int32_t units) {
    if (units < 0 || units == INT32_MAX) return nullptr;
    const void* from = parcel.take((static_cast<size_t>(units) + 1) * sizeof(char16_t));
    const auto* text = static_cast<const char16_t*>(from);
    const bool ends = text != nullptr && standin::unitAt(text, static_cast<size_t>(units)) == 0;
    return ends ? text : nullptr;
}

}  // namespace

binder_status_t AParcel_readString(const AParcel* parcel, void* target,
                                   AParcel_stringAllocator allocator) {
    int32_t units = kNull;
    static_cast<void>(parcel->takeValue(&units));  // a text that is missing altogether is null
    const char16_t* const utf16 = takeText(*parcel, units);
    if (utf16 == nullptr) {
        return allocator(target, -1, nullptr) ? STATUS_OK : STATUS_UNEXPECTED_NULL;
    }
    const size_t length = standin::utf8Length(utf16, static_cast<size_t>(units));
    if (length >= INT32_MAX) return STATUS_BAD_VALUE;
    char* buffer = nullptr;
    if (!allocator(target, static_cast<int32_t>(length) + 1, &buffer) || buffer == nullptr) {
        return STATUS_NO_MEMORY;
    }
    standin::toUtf8(utf16, static_cast<size_t>(units), buffer);
    buffer[length] = '\0';
    return STATUS_OK;
}

binder_status_t AParcel_writeByteArray(AParcel* parcel, const int8_t* data, int32_t length) {
    if (length < 0) return length == -1 ? parcel->putValue(kNull) : STATUS_BAD_VALUE;
    const binder_status_t status = parcel->putValue(length);
    if (status != STATUS_OK || length == 0) return status;
    void* to = parcel->put(static_cast<size_t>(length));
    if (to == nullptr) return STATUS_NO_MEMORY;
    std::memcpy(to, data, static_cast<size_t>(length));
    return STATUS_OK;
}

binder_status_t AParcel_readByteArray(const AParcel* parcel, void* target,
                                      AParcel_byteArrayAllocator allocator) {
    int32_t length = 0;
    const binder_status_t status = parcel->takeValue(&length);
    if (status != STATUS_OK) return status;
    if (length == kNull) return allocator(target, -1, nullptr) ? STATUS_OK : STATUS_UNEXPECTED_NULL;
    if (length < 0) return STATUS_BAD_VALUE;
    // Looked at before memory is taken: a length that the parcel does not hold costs nothing.
    const void* from = parcel->take(static_cast<size_t>(length));
    if (from == nullptr) return STATUS_NO_MEMORY;
    int8_t* buffer = nullptr;
    if (!allocator(target, length, &buffer)) return STATUS_NO_MEMORY;
    if (length == 0) return STATUS_OK;
    if (buffer == nullptr) return STATUS_NO_MEMORY;
    std::memcpy(buffer, from, static_cast<size_t>(length));
    return STATUS_OK;
}

binder_status_t AParcel_writeParcelFileDescriptor(AParcel* parcel, int fd) {
    if (fd < 0) return fd == -1 ? parcel->putValue<int32_t>(0) : STATUS_BAD_VALUE;
    ndk::ScopedFileDescriptor copy(::fcntl(fd, F_DUPFD_CLOEXEC, 0));
    if (copy.get() < 0) return STATUS_BAD_VALUE;
    const DescriptorObject object = {kDescriptorType, 0, static_cast<uint32_t>(parcel->fds.size()),
                                     0, 1};
    binder_status_t status = parcel->putValue<int32_t>(1);           // not null
    if (status == STATUS_OK) status = parcel->putValue<int32_t>(0);  // no status pipe
    if (status == STATUS_OK) status = parcel->putValue(object);
    if (status == STATUS_OK) parcel->fds.push_back(std::move(copy));
    return status;
}

binder_status_t AParcel_readParcelFileDescriptor(const AParcel* parcel, int* fd) {
    int32_t present = 0;
    binder_status_t status = parcel->takeValue(&present);
    if (status != STATUS_OK) return status;
    if (present == 0) {
        *fd = -1;
        return STATUS_OK;
    }
    int32_t hasStatusPipe = 0;
    DescriptorObject object = {};
    status = parcel->takeValue(&hasStatusPipe);
    if (status == STATUS_OK) status = parcel->takeValue(&object);
    if (status != STATUS_OK) return status;
    const bool refersToOne = object.type == kDescriptorType && object.index < parcel->fds.size();
    if (!refersToOne || hasStatusPipe != 0) return STATUS_BAD_TYPE;
    if (!parcel->countRead()) return STATUS_BAD_VALUE;
    const int copy = ::fcntl(parcel->fds[object.index].get(), F_DUPFD_CLOEXEC, 0);
    if (copy < 0) return STATUS_BAD_VALUE;
    *fd = copy;
    return STATUS_OK;
}

namespace standin {

binder_status_t writeInterfaceToken(AParcel* parcel, const char* descriptor) {
    for (const int32_t word : {kStrictModePolicy, kNoWorkSource, kSystemHeader}) {
        const binder_status_t status = parcel->putValue(word);
        if (status != STATUS_OK) return status;
    }
    return AParcel_writeString(parcel, descriptor, static_cast<int32_t>(std::strlen(descriptor)));
}

binder_status_t checkInterfaceToken(const AParcel* parcel, const AParcel& token) {
    constexpr size_t kCaller = 2 * sizeof(int32_t);  // policy and work source
    const auto* from = static_cast<const uint8_t*>(parcel->take(token.size()));
    const bool matches = from != nullptr && std::memcmp(from + kCaller, token.data() + kCaller,
                                                        token.size() - kCaller) == 0;
    return matches ? STATUS_OK : STATUS_BAD_TYPE;
}

}  // namespace standin
