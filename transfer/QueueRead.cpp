#include "Log.h"
#include "LumvndhalImpl.h"
#include "OutputFile.h"
#include "ReadBuffer.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

bool storeFile(const std::string& path, const int8_t* data, int32_t count) {
    OutputFile file(path);
    if (!file.isOpen()) return false;
    const bool bres = file.write(data, static_cast<size_t>(count));
    LUM_LOGI("LumvndhalImpl::request_read(), bres=%d ", bres ? 1 : 0);
    return bres;
}

}  // namespace

::ndk::ScopedAStatus LumvndhalImpl::request_read(const std::string& path, int32_t count,
                                                 bool* result) {
    const std::lock_guard<std::mutex> lock(mLock);
    *result = false;
    if (mFmqSync == nullptr || !mFmqSync->isValid()) {
        LUM_LOGE("[ERROR] fmq not initialized");
        return ::ndk::ScopedAStatus::ok();
    }
    if (count < 1 || path.empty()) {
        LUM_LOGE("[ERROR] invalid parameter");
        mFmqSync.reset();
        return ::ndk::ScopedAStatus::ok();
    }
    const ReadBuffer buffer(static_cast<size_t>(count));
    const bool taken =
            buffer.data() != nullptr && mFmqSync->read(buffer.data(), static_cast<size_t>(count));
    if (path.size() > kUnloggedPathLength) {
        LUM_LOGI("LumvndhalImpl::request_read(), path=%s count=%d read=%d ",
                 path.c_str() + kUnloggedPathLength, count, taken ? 1 : 0);
    }
    if (!taken) {
        LUM_LOGE("[ERROR] Failed to read data from fmq");
        return ::ndk::ScopedAStatus::ok();
    }
    // From here on the bytes are gone from the queue, whatever becomes of the file.
    *result = storeFile(validate_path(path), buffer.data(), count);
    return ::ndk::ScopedAStatus::ok();
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
