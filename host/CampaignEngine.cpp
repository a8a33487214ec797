#include "CampaignEngine.h"

#include <cstdio>

namespace session_operator {
namespace {

constexpr size_t kMaxCampaigns = 256;
constexpr size_t kMaxNameBytes = size_t{32} * 1024;
constexpr size_t kMaxModules = 1024;

std::set<std::string> withoutEmpty(const std::vector<std::string>& names) {
    std::set<std::string> set(names.begin(), names.end());
    set.erase("");
    return set;
}

void appendEscaped(std::string* json, unsigned char character) {
    char escape[7];
    std::snprintf(escape, sizeof(escape), "\\u%04x", character);
    *json += escape;
}

void appendString(std::string* json, const std::string& text) {
    *json += '"';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            appendEscaped(json, byte);
        } else {
            if (c == '"' || c == '\\') *json += '\\';
            *json += c;
        }
    }
    *json += '"';
}

// Appends a JSON array, with append(item) for each item.
template <class Items, class Append>
void appendArray(std::string* json, const Items& items, Append append) {
    const char* separator = "[";
    for (const auto& item : items) {
        *json += separator;
        append(item);
        separator = ",";
    }
    *json += items.empty() ? "[]" : "]";
}

}  // namespace

bool CampaignEngine::hasRoomFor(const std::string& key, const Names& collectors) const {
    const auto running = mCampaigns.find(key);
    const bool isNew = running == mCampaigns.end();
    size_t bytes = mNameBytes + (isNew ? key.size() : 0);
    for (const std::string& name : collectors) {
        if (isNew || running->second.count(name) == 0) bytes += name.size();
    }
    return bytes <= kMaxNameBytes && (!isNew || mCampaigns.size() < kMaxCampaigns);
}

bool CampaignEngine::start(const std::string& key, const std::vector<std::string>& collectors) {
    const Names names = withoutEmpty(collectors);
    const std::lock_guard<std::mutex> lock(mMutex);
    if (names.empty()) return true;
    if (!hasRoomFor(key, names)) return false;
    const auto [campaign, isNew] = mCampaigns.try_emplace(key);
    if (isNew) mNameBytes += key.size();
    for (const std::string& name : names) {
        if (campaign->second.insert(name).second) mNameBytes += name.size();
    }
    return true;
}

void CampaignEngine::stop(const std::string& key, const std::vector<std::string>& collectors) {
    const Names names = withoutEmpty(collectors);
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto campaign = mCampaigns.find(key);
    if (campaign == mCampaigns.end()) return;
    for (const std::string& name : names.empty() ? Names(campaign->second) : names) {
        if (campaign->second.erase(name) != 0) mNameBytes -= name.size();
    }
    if (campaign->second.empty()) end(campaign);
}

void CampaignEngine::end(std::map<std::string, Names>::iterator campaign) {
    mNameBytes -= campaign->first.size();
    mCampaigns.erase(campaign);
}

bool CampaignEngine::switchModule(uint32_t module, bool on) {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (!on) {
        mModules.erase(module);
        return true;
    }
    if (mModules.size() >= kMaxModules && mModules.count(module) == 0) return false;
    mModules.insert(module);
    return true;
}

std::string CampaignEngine::moduleStatus(uint32_t module) const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mModules.count(module) == 0 ? "off" : "on";
}

std::string CampaignEngine::state() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    std::string json = "{\"campaigns\":";
    appendArray(&json, mCampaigns, [&](const auto& campaign) {
        json += "{\"key\":";
        appendString(&json, campaign.first);
        json += ",\"collectors\":";
        appendArray(&json, campaign.second, [&](const auto& name) { appendString(&json, name); });
        json += "}";
    });
    json += ",\"modules\":";
    appendArray(&json, mModules, [&](uint32_t module) {
        json += "{\"id\":" + std::to_string(module) + ",\"on\":true}";
    });
    return json += "}";
}

}  // namespace session_operator
