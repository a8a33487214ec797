#include <cstring>
#include <memory>
#include <new>

#include "Log.h"
#include "LumvndhalImpl.h"
#include "TextMatch.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

constexpr char kFrcDisable[] = "vendor.tav.lum.frc.disable";
// Bytes of the buffer that a fact or a status passes through, its NUL included.
constexpr int kTextSize = 2048;

// A reply is a C text on its way: one that holds a NUL ends there, whatever size goes with it.
LumvndhalGenericData makeReply(const char* text, int32_t size) {
    LumvndhalGenericData reply;
    reply.data = text;
    reply.data_size = size;
    return reply;
}

LumvndhalGenericData buildId(LumvndhalImpl* service) {
    char text[kTextSize] = {};
    int length = -1;
    service->get_build_id(text, &length);
    return makeReply(text, length);
}

LumvndhalGenericData chipsetSerial(LumvndhalImpl* service) {
    char text[kTextSize] = {};
    int length = kTextSize;
    service->get_chipset_serial(text, &length);
    return makeReply(text, length);
}

LumvndhalGenericData versionText(LumvndhalImpl* service, std::string text) {
    if (service->check_property_value(kFrcDisable, "1")) {
        LUM_LOGD("FRC_DISABLE\n");
    } else {
        LUM_LOGD("FRC_ENABLE\n");
        text += '.' + std::to_string(service->get_factory_reset_count());
    }
    return makeReply(text.c_str(), static_cast<int32_t>(text.size()));
}

bool isUtf8Continuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// Cuts a text to what the buffer holds, but not through the middle of a character: half of one at
// the end would make the whole reply fail on its way to the client.
void cutToBuffer(std::string* text) {
    constexpr size_t kMostText = kTextSize - 1;
    constexpr size_t kMostContinuations = 3;  // in one character
    if (text->size() <= kMostText) return;
    size_t end = kMostText;
    while (end > kMostText - kMostContinuations && isUtf8Continuation((*text)[end])) --end;
    // Text that is not UTF-8 has no character to keep whole.
    text->resize(isUtf8Continuation((*text)[end]) ? kMostText : end);
}

LumvndhalGenericData campStatus(LumvndhalImpl* service, const std::string& cmd) {
    std::string status = service->getCampStatus(cmd);
    cutToBuffer(&status);
    return makeReply(status.c_str(), static_cast<int32_t>(status.size()));
}

// The state may be of any length, so it travels in a buffer of its own, and the client is told when
// there is no memory for that.
LumvndhalGenericData collectorsState(LumvndhalImpl* service, const std::string& cmd) {
    constexpr char kUnknown[] = "UNKNOWN";
    const std::string state = service->getCollectorsState(cmd);
    const std::unique_ptr<char[]> copy(new (std::nothrow) char[state.size() + 1]);
    if (copy == nullptr) return makeReply(kUnknown, sizeof(kUnknown) - 1);
    std::memcpy(copy.get(), state.c_str(), state.size() + 1);
    const auto size = static_cast<int32_t>(state.size());
    LUM_LOGD("data_size=%d", size);
    return makeReply(copy.get(), size);
}

}  // namespace

::ndk::ScopedAStatus LumvndhalImpl::get_vnd_data(const std::string& cmd,
                                                 LumvndhalGenericData* vnd_data, int32_t* result) {
    const std::lock_guard<std::mutex> lock(mLock);
    if (beginsWith(cmd, "BUILDID")) {
        *vnd_data = buildId(this);
    } else if (beginsWith(cmd, "LUMTR_VERSION")) {
        *vnd_data = versionText(this, mLumtrVersion);
    } else if (beginsWith(cmd, "CHIPSET_SERIAL")) {
        *vnd_data = chipsetSerial(this);
    } else if (contains(cmd, "statusCamp")) {
        *vnd_data = campStatus(this, cmd);
    } else if (contains(cmd, "collectorsState")) {
        *vnd_data = collectorsState(this, cmd);
    } else {
        return ::ndk::ScopedAStatus::ok();
    }
    *result = 0;
    return ::ndk::ScopedAStatus::ok();
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
