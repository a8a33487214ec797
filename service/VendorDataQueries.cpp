#include <cstring>
#include <memory>
#include <new>

#include "Log.h"
#include "LumvndhalImpl.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

constexpr char kFrcDisable[] = "vendor.tav.lum.frc.disable";
// Bytes of the buffer that a fact or a status passes through, its NUL included.
constexpr int kTextSize = 2048;

bool beginsWith(const std::string& text, const char* word) {
    return text.rfind(word, 0) == 0;
}

bool contains(const std::string& text, const char* word) {
    return text.find(word) != std::string::npos;
}

// A reply is a C text on its way: one that holds a NUL ends there, whatever size goes with it.
void setReply(LumvndhalGenericData* reply, const char* text, int32_t size) {
    reply->data = text;
    reply->data_size = size;
}

void replyBuildId(LumvndhalImpl* service, LumvndhalGenericData* reply) {
    char text[kTextSize] = {};
    int length = -1;
    service->get_build_id(text, &length);
    setReply(reply, text, length);
}

void replyChipsetSerial(LumvndhalImpl* service, LumvndhalGenericData* reply) {
    char text[kTextSize] = {};
    int length = kTextSize;
    service->get_chipset_serial(text, &length);
    setReply(reply, text, length);
}

void replyVersion(LumvndhalImpl* service, std::string version, LumvndhalGenericData* reply) {
    if (service->check_property_value(kFrcDisable, "1")) {
        LUM_LOGD("FRC_DISABLE\n");
    } else {
        LUM_LOGD("FRC_ENABLE\n");
        version += '.' + std::to_string(service->get_factory_reset_count());
    }
    setReply(reply, version.c_str(), static_cast<int32_t>(version.size()));
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

void replyCampStatus(LumvndhalImpl* service, const std::string& cmd, LumvndhalGenericData* reply) {
    std::string status = service->getCampStatus(cmd);
    cutToBuffer(&status);
    setReply(reply, status.c_str(), static_cast<int32_t>(status.size()));
}

// The state may be of any length, so it travels in a buffer of its own, and the client is told when
// there is no memory for that.
void replyCollectorsState(LumvndhalImpl* service, const std::string& cmd,
                          LumvndhalGenericData* reply) {
    constexpr char kUnknown[] = "UNKNOWN";
    const std::string state = service->getCollectorsState(cmd);
    const std::unique_ptr<char[]> copy(new (std::nothrow) char[state.size() + 1]);
    if (copy == nullptr) return setReply(reply, kUnknown, sizeof(kUnknown) - 1);
    std::memcpy(copy.get(), state.c_str(), state.size() + 1);
    setReply(reply, copy.get(), static_cast<int32_t>(state.size()));
    LUM_LOGD("data_size=%d", reply->data_size);
}

}  // namespace

::ndk::ScopedAStatus LumvndhalImpl::get_vnd_data(const std::string& cmd,
                                                 LumvndhalGenericData* vnd_data, int32_t* result) {
    const std::lock_guard<std::mutex> lock(mLock);
    if (beginsWith(cmd, "BUILDID")) {
        replyBuildId(this, vnd_data);
    } else if (beginsWith(cmd, "LUMTR_VERSION")) {
        replyVersion(this, mLumtrVersion, vnd_data);
    } else if (beginsWith(cmd, "CHIPSET_SERIAL")) {
        replyChipsetSerial(this, vnd_data);
    } else if (contains(cmd, "statusCamp")) {
        replyCampStatus(this, cmd, vnd_data);
    } else if (contains(cmd, "collectorsState")) {
        replyCollectorsState(this, cmd, vnd_data);
    } else {
        return ::ndk::ScopedAStatus::ok();
    }
    *result = 0;
    return ::ndk::ScopedAStatus::ok();
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
