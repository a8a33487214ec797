#include "LumvndhalImpl.h"

#include "Log.h"

namespace aidl::vendor::tav::lumvndhal_aidl {

// Defined here so that both are part of the library.
LumvndhalImpl::LumvndhalImpl() = default;
LumvndhalImpl::~LumvndhalImpl() = default;

void LumvndhalImpl::init_session_operator(SetCampOperation campOperation,
                                          SetCampModuleOperation moduleOperation,
                                          GetCampStatus campStatus,
                                          GetCollectorsState collectorsState) {
    LUM_LOGD("%s", "init_session_operator");
    mSetCampOperation = campOperation;
    mSetCampModuleOperation = moduleOperation;
    mGetCampStatus = campStatus;
    mGetCollectorsState = collectorsState;
}

void LumvndhalImpl::set_lumtr_version(const char* text) {
    mLumtrVersion = text == nullptr ? "" : text;
    LUM_LOGV("set_lumtr_version() lumtr_version=%s", mLumtrVersion.c_str());
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
