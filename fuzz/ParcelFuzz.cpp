// A parcel of any bytes under every reader that there is. What a reader accepts is within the
// parcel, says what the bytes say, and travels unchanged in a parcel of its own.
#include <aidl/android/hardware/common/fmq/MQDescriptor.h>
#include <aidl/android/hardware/common/fmq/SynchronizedReadWrite.h>
#include <aidl/vendor/tav/lumvndhal_aidl/LumvndhalGenericData.h>
#include <android/binder_parcel_utils.h>
#include <fcntl.h>

#include <iterator>
#include <optional>

#include "Parcel.h"
#include "Support.h"
#include "Utf16.h"

namespace {

using namespace fuzz;
using namespace ::aidl::android::hardware::common::fmq;
using QueueDescriptor = MQDescriptor<int8_t, SynchronizedReadWrite>;

std::optional<std::u16string> modelToUtf16(const std::string& text) {
    std::u16string units;
    for (size_t at = 0; at < text.size();) {
        const auto byte = [&](size_t i) { return uint32_t{static_cast<uint8_t>(text[at + i])}; };
        const size_t length = byte(0) < 0xc0 ? 1 : byte(0) < 0xe0 ? 2 : byte(0) < 0xf0 ? 3 : 4;
        if (length > text.size() - at) return {};
        constexpr uint32_t kLeadBits[] = {0, 256, 32, 16, 8};
        uint32_t character = byte(0) % kLeadBits[length];
        for (size_t i = 1; i < length; ++i) character = character * 64 + byte(i) % 64;
        if (character >= 0x10000) {
            units += static_cast<char16_t>(0xd800 + (character - 0x10000) / 1024);
            character = 0xdc00 + (character - 0x10000) % 1024;
        }
        units += static_cast<char16_t>(character);
        at += length;
    }
    return units;
}

std::string modelToUtf8(const std::u16string& units) {
    std::string text;
    const auto put = [&](uint32_t byte) { text += static_cast<char>(byte); };
    for (size_t i = 0; i < units.size(); ++i) {
        uint32_t character = units[i];
        const uint32_t next = i + 1 < units.size() ? units[i + 1] : 0;
        const bool isPair = character / 1024 == 0x36 && next / 1024 == 0x37;
        if (!isPair && character / 2048 == 0x1b) continue;  // half of a pair
        if (isPair) character = 0x10000 + character % 1024 * 1024 + next % 1024;
        if (isPair) ++i;
        if (character >= 0x10000) put(0xf0 + character / 262144);
        if (character >= 0x10000) put(0x80 + character / 4096 % 64);
        if (character >= 0x800 && character < 0x10000) put(0xe0 + character / 4096);
        if (character >= 0x800) put(0x80 + character / 64 % 64);
        if (character >= 0x80 && character < 0x800) put(0xc0 + character / 64);
        put(character < 0x80 ? character : 0x80 + character % 64);
    }
    return text;
}

void convert(const std::string& text) {
    const auto expected = modelToUtf16(text);
    const ssize_t length = standin::utf16Length(text.data(), text.size());
    require(length == (expected ? static_cast<ssize_t>(expected->size()) : -1), "units of a text");
    if (!expected) return;
    std::u16string units(expected->size(), u'\0');
    standin::toUtf16(text.data(), text.size(), units.data());
    require(units == *expected, "a text as UTF-16");
    std::string back(modelToUtf8(units).size(), '\0');
    require(standin::utf8Length(units.data(), units.size()) == back.size(), "bytes of a text");
    standin::toUtf8(units.data(), units.size(), back.data());
    require(back == modelToUtf8(units), "a text as UTF-8");
}

// The next text (of units of 2 bytes) or byte array (of 1), read from the bytes themselves.
binder_status_t modelText(const AParcel& parcel, size_t unit, std::string* text) {
    int32_t length = 0;
    if (parcel.left() < 4) return unit == 1 ? STATUS_NOT_ENOUGH_DATA : STATUS_UNEXPECTED_NULL;
    std::memcpy(&length, parcel.data() + parcel.position(), 4);
    const auto count = static_cast<uint64_t>(length);
    const uint64_t size = unit == 1 ? count : (count + 1) * 2;
    const bool isThere = length >= 0 && (size + 3) / 4 * 4 <= parcel.left() - 4;
    const auto* const from = reinterpret_cast<const char*>(parcel.data()) + parcel.position() + 4;
    if (unit == 1) {
        if (length < 0) return length == -1 ? STATUS_UNEXPECTED_NULL : STATUS_BAD_VALUE;
        if (isThere) text->assign(from, size);
        return isThere ? STATUS_OK : STATUS_NO_MEMORY;
    }
    std::u16string units(isThere ? count + 1 : 0, u'\0');
    std::memcpy(units.data(), from, units.size() * 2);
    if (!isThere || units.back() != 0) return STATUS_UNEXPECTED_NULL;
    units.pop_back();
    *text = modelToUtf8(units);
    return STATUS_OK;
}

bool isSame(const QueueDescriptor& a, const QueueDescriptor& b) {
    return a.grantors == b.grantors && a.handle.ints == b.handle.ints && a.flags == b.flags &&
           a.handle.fds.size() == b.handle.fds.size() && a.quantum == b.quantum;
}
template <typename T>
bool isSame(const T& a, const T& b) {
    return a == b;
}

// Reads a value and, if there is one, hands it on in another parcel.
template <typename T>
binder_status_t pass(const AParcel& parcel, T* value) {
    const binder_status_t status = ndk::AParcel_readData(&parcel, value);
    require(parcel.position() <= parcel.size() && status <= 0, "a reader stays in the parcel");
    if (status != STATUS_OK) return status;
    AParcel copy;
    T again = {};
    require(ndk::AParcel_writeData(&copy, *value) == STATUS_OK && copy.setPosition(0) &&
                    ndk::AParcel_readData(&copy, &again) == STATUS_OK && copy.left() == 0,
            "what was read can be written and read");
    require(isSame(*value, again), "what was read travels unchanged");
    return STATUS_OK;
}

template <typename T>
binder_status_t pass(const AParcel& parcel) {
    T value = {};
    return pass(parcel, &value);
}

template <typename T>
binder_status_t passText(const AParcel& parcel, size_t unit) {
    std::string expected;
    const binder_status_t status = modelText(parcel, unit, &expected);
    T value = {};
    require(pass(parcel, &value) == status, "the status of reading a text");
    require(std::string(value.begin(), value.end()) == expected, "the text read");
    return status;
}

binder_status_t passStatus(const AParcel& parcel) {
    ndk::ScopedAStatus status;
    const binder_status_t read = AParcel_readStatusHeader(&parcel, status.getR());
    AParcel copy;
    if (read == STATUS_OK) static_cast<void>(AParcel_writeStatusHeader(&copy, status.get()));
    return read;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    convert(input.text());
    const std::string readers = input.text().substr(0, 32);
    const std::string bytes = input.bytes(size);
    const size_t before = support::openDescriptors();
    {
        AParcel parcel(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        parcel.fds.emplace_back(::open("/data", O_PATH | O_CLOEXEC));
        using Reader = binder_status_t (*)(const AParcel&);
        constexpr Reader kReaders[] = {
                pass<int32_t>,
                pass<int64_t>,
                pass<bool>,
                pass<std::vector<int32_t>>,
                [](const AParcel& from) { return passText<std::string>(from, 2); },
                [](const AParcel& from) { return passText<std::vector<uint8_t>>(from, 1); },
                pass<std::vector<std::string>>,
                pass<GrantorDescriptor>,
                pass<QueueDescriptor>,
                pass<::aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData>,
                passStatus};
        for (const char reader : readers) {
            const auto read = kReaders[static_cast<uint8_t>(reader) % std::size(kReaders)];
            if (read(parcel) != STATUS_OK) break;
        }
    }
    require(support::openDescriptors() == before, "as many descriptors are open as before");
    return 0;
}
