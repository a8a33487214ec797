#include <fcntl.h>

#include "Log.h"
#include "LumvndhalImpl.h"
#include "OutputFile.h"
#include "TextMatch.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

// The directory is made by others; while it is missing, statistics are refused.
constexpr char kStatisticsFile[] = "/data/vendor/lum/shared/1503/nwstats.tmp";
// Bytes of the block's first field: the length of what follows.
constexpr size_t kLengthSize = 4;

// Big-endian. By way of unsigned bytes, since plain char is signed on some devices only.
int32_t readLength(const std::string& block) {
    uint32_t bits = 0;
    for (size_t i = 0; i < kLengthSize; ++i) bits = bits << 8 | static_cast<uint8_t>(block[i]);
    return static_cast<int32_t>(bits);
}

// The length is looked at after the file was emptied: a wrong one leaves an empty file behind.
int32_t storeNetworkStatistics(const std::string& block) {
    if (block.size() <= kLengthSize) {
        LUM_LOGE("[ERROR] Invalid data");
        return -1;
    }
    const ::ndk::ScopedFileDescriptor file(
            ::open(kStatisticsFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (file.get() < 0) {
        LUM_LOGE("[ERROR] Can't create nwstats.tmp");
        return -1;
    }
    const int32_t length = readLength(block);
    LUM_LOGI("nwstats data length=%d", length);
    const size_t payload = block.size() - kLengthSize;
    if (length < 1 || static_cast<size_t>(length) != payload) {
        LUM_LOGE("[ERROR] Invalid data");
        return -1;
    }
    // What becomes of the write is not looked at: the next block replaces this one anyway.
    static_cast<void>(writeAll(file.get(), block.data() + kLengthSize, payload));
    return 0;
}

bool isCampaignWord(const std::string& cmd) {
    return cmd == "startCamp" || cmd == "stopCamp";
}

bool isModuleWord(const std::string& cmd) {
    return cmd == "startModuleCamp" || cmd == "stopModuleCamp" || cmd == "cmdOptIn" ||
           cmd == "cmdOptout";
}

}  // namespace

::ndk::ScopedAStatus LumvndhalImpl::set_vnd_data(const std::string& cmd, const std::string& param,
                                                 int32_t* result) {
    const std::lock_guard<std::mutex> lock(mLock);
    LUM_LOGV("set_vnd_data(), cmd=%s ", cmd.c_str());
    if (beginsWith(cmd, "LUMNETSTATS")) {
        *result = storeNetworkStatistics(param);
    } else if (isCampaignWord(cmd)) {
        *result = setCampOperation(cmd, param);
    } else if (isModuleWord(cmd)) {
        *result = setCampModuleOperation(cmd, param);
    }
    return ::ndk::ScopedAStatus::ok();
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
