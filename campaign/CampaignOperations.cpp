#include <utility>

#include "Log.h"
#include "LumvndhalImpl.h"
#include "ModuleNumber.h"
#include "TextMatch.h"

namespace aidl::vendor::tav::lumvndhal_aidl {
namespace {

// Operation codes of the session operator.
constexpr uint32_t kStop = 0;
constexpr uint32_t kStart = 1;

}  // namespace

int32_t LumvndhalImpl::setCampOperation(std::string cmd, std::string param) {
    constexpr char kName[] = "setCampOperation";
    LUM_LOGV("%s, cmd=%s, param=%s", kName, cmd.c_str(), param.c_str());
    if (param.empty()) {
        LUM_LOGE("[ERROR] param is empty");
        return -1;
    }
    std::vector<std::string> fields;
    splitDelimiter(std::move(param), ";", fields);
    LUM_LOGV("%s, %s, collectorList=%s", kName, fields.front().c_str(), fields.back().c_str());
    std::vector<std::string> collectors;
    splitDelimiter(fields.back(), ",", collectors);

    if (contains(cmd, "startCamp")) {
        mSetCampOperation(kStart, std::move(fields.front()), std::move(collectors));
    } else if (contains(cmd, "stopCamp")) {
        mSetCampOperation(kStop, std::move(fields.front()), std::move(collectors));
    }
    return 0;
}

int32_t LumvndhalImpl::setCampModuleOperation(std::string cmd, std::string param) {
    LUM_LOGV("%s, cmd=%s, param=%s", "setCampModuleOperation", cmd.c_str(), param.c_str());
    if (param.empty()) {
        LUM_LOGE("[ERROR] param is empty");
        return -1;
    }
    const std::optional<uint32_t> module = toModuleNumber(param);
    if (!isNumber(param) || !module) {
        LUM_LOGE("[ERROR] param is invalid");
        return -1;
    }
    if (cmd == "startModuleCamp" || cmd == "cmdOptIn") {
        mSetCampModuleOperation(kStart, *module);
    } else if (cmd == "stopModuleCamp" || cmd == "cmdOptout") {
        mSetCampModuleOperation(kStop, *module);
    }
    return 0;
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
