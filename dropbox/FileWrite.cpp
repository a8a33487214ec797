#include "Log.h"
#include "LumvndhalImpl.h"
#include "OutputFile.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

// The count comes apart from the bytes and must agree with them, except that 0 asks for an empty
// file whatever the bytes are. A refused count leaves the file empty: it was emptied when it was
// opened.
bool writeContent(OutputFile* file, const std::vector<uint8_t>& data, int32_t length) {
    if (length == 0) return true;
    if (length < 0 || static_cast<size_t>(length) != data.size()) {
        LUM_LOGE("[ERROR] wrong data");
        return false;
    }
    return file->write(data.data(), data.size());
}

}  // namespace

::ndk::ScopedAStatus LumvndhalImpl::write_data_to_vendor_dropbox(const std::string& spath,
                                                                 const std::vector<uint8_t>& data,
                                                                 int32_t length, bool* result) {
    const std::lock_guard<std::mutex> lock(mLock);
    if (spath.size() > kUnloggedPathLength) {
        LUM_LOGI("LumvndhalImpl::write_data_to_vendor_dropbox(), spath=%s length=%d",
                 spath.c_str() + kUnloggedPathLength, length);
    }
    OutputFile file(validate_path(spath));
    const bool opened = file.isOpen();
    *result = opened && writeContent(&file, data, length);
    file.close();
    if (opened) {
        LUM_LOGI("LumvndhalImpl::write_data_to_vendor_dropbox(), bres=%d ", *result ? 1 : 0);
    }
    return ::ndk::ScopedAStatus::ok();
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
