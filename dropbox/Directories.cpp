#include <sys/stat.h>

#include <cerrno>

#include "Log.h"
#include "LumvndhalImpl.h"
#include "TextMatch.h"
#include "TreeRemoval.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

constexpr char kRoot[] = "/data/vendor/lum";
constexpr mode_t kDirectoryMode = 0770;

// An entry that is there already is as good as a new one.
int32_t createDirectory(const std::string& path) {
    if (::mkdir(path.c_str(), kDirectoryMode) == 0) return 0;
    if (errno != EEXIST) return -1;
    if (path.size() > kUnloggedPathLength)
        LUM_LOGD("%s is already exist", path.c_str() + kUnloggedPathLength);
    return 0;
}

}  // namespace

std::string LumvndhalImpl::validate_path(std::string path) {
    if (path.empty() || contains(path, "..")) return {};
    return path.insert(0, kRoot);
}

::ndk::ScopedAStatus LumvndhalImpl::update_vendor_dropbox(const std::string& path, bool create,
                                                          int32_t* result) {
    const std::lock_guard<std::mutex> lock(mLock);
    const std::string validated = validate_path(path);
    if (validated.empty()) {
        LUM_LOGE("[ERROR] Path is not correct");
        *result = -1;
    } else if (create) {
        *result = createDirectory(validated);
    } else {
        delete_dir_tree(validated.c_str());
        *result = 0;
    }
    return ::ndk::ScopedAStatus::ok();
}

void LumvndhalImpl::delete_dir_tree(const char* path) {
    TreeRemoval(path).run();
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
