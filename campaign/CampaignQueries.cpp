#include <utility>

#include "Log.h"
#include "LumvndhalImpl.h"
#include "ModuleNumber.h"

namespace aidl::vendor::tav::lumvndhal_aidl {

std::string LumvndhalImpl::getCampStatus(std::string param) {
    constexpr char kName[] = "getCampStatus";
    std::string answer;
    std::vector<std::string> pieces;
    splitDelimiter(std::move(param), ";", pieces);
    const std::string& module = pieces.back();
    LUM_LOGV("%s, cmd=%s, moduleId=%s", kName, pieces.front().c_str(), module.c_str());
    const std::optional<uint32_t> number = toModuleNumber(module);
    if (isNumber(module) && number) {
        mGetCampStatus(answer, *number);
    } else {
        LUM_LOGE("[ERROR] moduleStr is invalid");
        answer = "invalid module";
    }
    LUM_LOGV("%s, result=%s", kName, answer.c_str());
    return answer;
}

std::string LumvndhalImpl::getCollectorsState(std::string param) {
    LUM_LOGV("%s, param=%s", "getCollectorsState", param.c_str());
    std::string answer;
    mGetCollectorsState(answer);
    return answer;
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
