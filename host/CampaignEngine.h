#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "GuardedBy.h"

namespace session_operator {

// What runs: campaigns under their keys with their collectors, and modules that are on. May be used
// from any thread. Bounded in memory; see SessionOperator.h for the bounds and for the texts.
class CampaignEngine {
  public:
    // False, and nothing changed, when a bound is in the way.
    bool start(const std::string& key, const std::vector<std::string>& collectors);
    void stop(const std::string& key, const std::vector<std::string>& collectors);
    bool switchModule(uint32_t module, bool on);

    std::string moduleStatus(uint32_t module) const;
    std::string state() const;

  private:
    using Names = std::set<std::string>;

    bool hasRoomFor(const std::string& key, const Names& collectors) const LUM_REQUIRES(mMutex);
    void end(std::map<std::string, Names>::iterator campaign) LUM_REQUIRES(mMutex);

    mutable std::mutex mMutex;
    std::map<std::string, Names> mCampaigns LUM_GUARDED_BY(mMutex);
    std::set<uint32_t> mModules LUM_GUARDED_BY(mMutex);
    size_t mNameBytes LUM_GUARDED_BY(mMutex) = 0;  // of all keys and collectors
};

}  // namespace session_operator
