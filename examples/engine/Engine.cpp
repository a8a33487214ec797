// A campaign engine that collects something: while a campaign runs, a thread writes the newest
// values of its collectors to a file of the dropbox. Linked with the host's main() it is the whole
// service.
#include <SessionOperator.h>
#include <android/log.h>

#include <chrono>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <thread>

namespace {

constexpr char kFile[] = "/data/vendor/lum/collected";
constexpr auto kInterval = std::chrono::milliseconds(200);
constexpr size_t kMaxCampaigns = 64;
constexpr size_t kMaxKeyBytes = 256;

// What can be collected, and where it is read. A client may send any name; others are ignored.
const std::map<std::string, const char*> kCollectors = {
        {"load", "/proc/loadavg"}, {"uptime", "/proc/uptime"}, {"memory", "/proc/self/statm"}};

// The functions that the service calls only note what is to be done, and answer from memory: the
// service's mutex is held while they run. The thread does the work.
class Engine {
  public:
    Engine() : mThread([this] { run(); }) {}

    void start(const std::string& key, const std::vector<std::string>& collectors) {
        const std::lock_guard<std::mutex> lock(mMutex);
        const bool hasRoom = mCampaigns.count(key) != 0 || mCampaigns.size() < kMaxCampaigns;
        if (!hasRoom || key.size() > kMaxKeyBytes) {
            __android_log_print(ANDROID_LOG_WARN, "example_engine", "No room for a campaign");
            return;
        }
        for (const std::string& name : collectors) {
            if (kCollectors.count(name) != 0) mCampaigns[key].insert(name);
        }
    }

    // Without a name all of the campaign is stopped.
    void stop(const std::string& key, const std::vector<std::string>& collectors) {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto campaign = mCampaigns.find(key);
        if (campaign == mCampaigns.end()) return;
        bool isNamed = false;
        for (const std::string& name : collectors) {
            campaign->second.erase(name);
            isNamed = isNamed || !name.empty();
        }
        if (!isNamed || campaign->second.empty()) mCampaigns.erase(campaign);
    }

    std::string state() const {
        const std::lock_guard<std::mutex> lock(mMutex);
        return std::to_string(mCampaigns.size()) + " campaigns, " + std::to_string(mSamples) +
               " values collected";
    }

  private:
    [[noreturn]] void run() {
        while (true) {
            std::this_thread::sleep_for(kInterval);
            const auto wanted = collectorsThatRun();
            if (!wanted.empty()) collect(wanted);
        }
    }

    std::set<std::string> collectorsThatRun() const {
        const std::lock_guard<std::mutex> lock(mMutex);
        std::set<std::string> names;
        for (const auto& campaign : mCampaigns) {
            names.insert(campaign.second.begin(), campaign.second.end());
        }
        return names;
    }

    void collect(const std::set<std::string>& names) {
        std::ofstream file(kFile);
        for (const std::string& name : names) {
            std::string value;
            std::getline(std::ifstream(kCollectors.at(name)), value);
            file << name << ": " << value << "\n";
        }
        const std::lock_guard<std::mutex> lock(mMutex);
        mSamples += names.size();
    }

    mutable std::mutex mMutex;  // guards the two that follow
    std::map<std::string, std::set<std::string>> mCampaigns;
    size_t mSamples = 0;
    std::thread mThread;  // last, because it uses the others from its start
};

// Lives as long as the process: its thread, and calls that are under way, may outlive main().
Engine& engine() {
    static Engine& one = *new Engine;
    return one;
}

void setCampaign(uint32_t operation, std::string key, std::vector<std::string> collectors) {
    if (operation != 0) {
        engine().start(key, collectors);
    } else {
        engine().stop(key, collectors);
    }
}

void setModule(uint32_t /*operation*/, uint32_t /*module*/) {}

void tellModule(std::string& answer, uint32_t /*module*/) {
    answer = "this engine has no modules";
}

void tellCollectors(std::string& answer) {
    answer = engine().state();
}

}  // namespace

session_operator::Callbacks session_operator::callbacks() {
    return {setCampaign, setModule, tellModule, tellCollectors};
}
