#include <cstdlib>

#include "Log.h"
#include "LumvndhalImpl.h"
#include "OutputFile.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

struct Free {
    void operator()(int8_t* memory) const { std::free(memory); }
};

// Zeroed memory, or null. The pages of a large block are not there until they are written to, so a
// count that the queue does not hold costs nothing, however large.
using Buffer = std::unique_ptr<int8_t, Free>;

Buffer makeBuffer(int32_t count) {
    return Buffer(static_cast<int8_t*>(std::calloc(static_cast<size_t>(count), 1)));
}

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
    const Buffer buffer = makeBuffer(count);
    const bool taken =
            buffer != nullptr && mFmqSync->read(buffer.get(), static_cast<size_t>(count));
    if (path.size() > kUnloggedPathLength) {
        LUM_LOGI("LumvndhalImpl::request_read(), path=%s count=%d read=%d ",
                 path.c_str() + kUnloggedPathLength, count, taken ? 1 : 0);
    }
    if (!taken) {
        LUM_LOGE("[ERROR] Failed to read data from fmq");
        return ::ndk::ScopedAStatus::ok();
    }
    // From here on the bytes are gone from the queue, whatever becomes of the file.
    *result = storeFile(validate_path(path), buffer.get(), count);
    return ::ndk::ScopedAStatus::ok();
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
