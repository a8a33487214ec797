#include "SessionOperator.h"

#include <android/log.h>

#include "CampaignEngine.h"

namespace session_operator {
namespace {

constexpr char kLogTag[] = "LUM:session_operator";

// Lives as long as the process: a binder thread may still be in it while main() returns.
CampaignEngine& engine() {
    static CampaignEngine& one = *new CampaignEngine;
    return one;
}

void reportFull(const char* what) {
    __android_log_print(ANDROID_LOG_WARN, kLogTag, "No room for another %s: command ignored", what);
}

void setCampOperation(uint32_t operation, std::string key, std::vector<std::string> collectors) {
    if (operation == 0) {
        engine().stop(key, collectors);
    } else if (!engine().start(key, collectors)) {
        reportFull("campaign");
    }
}

void setCampModuleOperation(uint32_t operation, uint32_t module) {
    if (!engine().switchModule(module, operation != 0)) reportFull("module");
}

void getCampStatus(std::string& answer, uint32_t module) {
    answer = engine().moduleStatus(module);
}

void getCollectorsState(std::string& answer) {
    answer = engine().state();
}

}  // namespace

Callbacks callbacks() {
    return {setCampOperation, setCampModuleOperation, getCampStatus, getCollectorsState};
}

}  // namespace session_operator
