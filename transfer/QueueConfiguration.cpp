#include <new>

#include "Log.h"
#include "LumvndhalImpl.h"

namespace aidl::vendor::tav::lumvndhal_aidl {

::ndk::ScopedAStatus LumvndhalImpl::configure(const ByteQueueDescriptor& desc, bool* result) {
    const std::lock_guard<std::mutex> lock(mLock);
    // A descriptor that is refused replaces the queue as well: a failure never leaves the client
    // with the queue that it meant to give up.
    mFmqSync.reset(new (std::nothrow) ByteQueue(desc, true /* resetPointers */));
    *result = mFmqSync != nullptr && mFmqSync->isValid();
    if (!*result) LUM_LOGE("[ERROR] mFmqSync is nullptr or invalid");
    return ::ndk::ScopedAStatus::ok();
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
