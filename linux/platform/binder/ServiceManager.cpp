#include <android/binder_manager.h>
#include <android/log.h>
#include <dirent.h>
#include <standin/ThreadSafety.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Binder.h"
#include "Endpoint.h"
#include "Proxy.h"

namespace standin {
namespace {

constexpr char kLogTag[] = "ServiceManager";
constexpr char kRootVariable[] = "ANDROID_DEVICE_ROOT";

// A service that is waited for is looked for again after 20 ms, and after a longer pause each time.
// From the second after which a person wonders, the log says what is waited for.
constexpr std::chrono::milliseconds kFirstPause{20};
constexpr std::chrono::milliseconds kLongestPause{500};
constexpr std::chrono::seconds kSilence{1};

const std::string& socketDirectory() {
    static const std::string& directory = *new std::string([] {
        const char* root = std::getenv(kRootVariable);
        return std::string(root == nullptr ? "" : root) + "/dev/socket/binder/";
    }());
    return directory;
}

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-' || c == '.' || c == '/';
}

bool isName(const char* instance) {
    if (instance == nullptr || *instance == '\0') return false;
    const size_t length = std::strlen(instance);
    return length <= kMaxNameLength && std::all_of(instance, instance + length, isNameCharacter);
}

// All endpoints lie in one directory: the '/' of a name becomes a character that no name holds.
std::string fileNameOf(std::string instance) {
    std::replace(instance.begin(), instance.end(), '/', ':');
    return instance;
}

std::string endpointOf(const char* instance) {
    return socketDirectory() + fileNameOf(instance);
}

// The services of this process. Lives as long as it.
struct Services {
    std::mutex mutex;
    std::map<std::string, Endpoint*> byName GUARDED_BY(mutex);
    // That registered them: a forked child inherits the list, not the services.
    pid_t process GUARDED_BY(mutex) = 0;

    void forgetInherited() REQUIRES(mutex) {
        if (process == ::getpid()) return;
        process = ::getpid();
        byName.clear();
    }
};

Services& services() {
    static Services& one = *new Services;
    return one;
}

void closeAllEndpoints() {
    const std::lock_guard<std::mutex> lock(services().mutex);
    services().forgetInherited();
    for (const auto& [name, endpoint] : services().byName) endpoint->close();
}

binder_exception_t report(int error, const char* instance) {
    if (error == EEXIST) return EX_ILLEGAL_STATE;
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "No endpoint for %s at %s: %s", instance,
                        endpointOf(instance).c_str(), std::strerror(error));
    return EX_TRANSACTION_FAILED;
}

// The service of this process with that name, or null.
AIBinder* findLocal(const char* instance) {
    const std::lock_guard<std::mutex> lock(services().mutex);
    services().forgetInherited();
    const auto found = services().byName.find(instance);
    if (found == services().byName.end()) return nullptr;
    AIBinder* const binder = found->second->binder().get();
    binder->incStrong();
    return binder;
}

AIBinder* find(const char* instance, Attempt* attempt) {
    AIBinder* const local = findLocal(instance);
    return local != nullptr ? local : Proxy::open(endpointOf(instance), attempt);
}

// What is to be said of an attempt that did not succeed; `error` is the errno of kFailed.
std::string explain(Attempt attempt, int error) {
    switch (attempt) {
        case Attempt::kTurnedAway:
            return "it turns this process away: it has all the connections that it admits, or "
                   "lacks descriptors";
        case Attempt::kUnanswered:
            return "it does not answer: it is stopped or overloaded";
        case Attempt::kFailed:
            return std::strerror(error);
        default:
            return std::string("nothing is there; another device root is named with ") +
                   kRootVariable + ", or lumctl's --root";
    }
}

void warn(const char* what, const char* instance, const std::string& why) {
    __android_log_print(ANDROID_LOG_WARN, kLogTag, "%s %s at %s: %s", what, instance,
                        endpointOf(instance).c_str(), why.c_str());
}

// The pauses of a thread that waits for a service, and what it says meanwhile.
class Wait {
  public:
    explicit Wait(const char* instance) : mInstance(instance) {}

    // Says each new reason once.
    void pause(const std::string& why) {
        if (why != mSaid && Clock::now() >= mLoud) {
            warn("Waiting for", mInstance, why);
            mSaid = why;
        }
        std::this_thread::sleep_for(mPause);
        mPause = std::min(2 * mPause, kLongestPause);
    }

  private:
    const char* const mInstance;
    const Clock::time_point mLoud = Clock::now() + kSilence;
    std::chrono::milliseconds mPause = kFirstPause;
    std::string mSaid;
};

std::vector<std::string> instancesOf(const std::string& interface) {
    std::vector<std::string> instances;
    const std::string prefix = fileNameOf(interface + "/");
    DIR* directory = ::opendir(socketDirectory().c_str());
    if (directory == nullptr) return instances;
    while (const dirent* entry = ::readdir(directory)) {
        const std::string name = entry->d_name;
        if (name.compare(0, prefix.size(), prefix) == 0) {
            instances.push_back(name.substr(prefix.size()));
        }
    }
    ::closedir(directory);
    std::sort(instances.begin(), instances.end());
    return instances;
}

}  // namespace
}  // namespace standin

binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance) {
    if (binder == nullptr || binder->isRemote() || !standin::isName(instance)) {
        return EX_ILLEGAL_ARGUMENT;
    }
    standin::Services& services = standin::services();
    const std::lock_guard<std::mutex> lock(services.mutex);
    services.forgetInherited();
    if (services.byName.count(instance) != 0) return EX_ILLEGAL_STATE;
    binder->incStrong();
    int error = 0;
    standin::Endpoint* endpoint =
            standin::Endpoint::open(standin::endpointOf(instance), ndk::SpAIBinder(binder), &error);
    if (endpoint == nullptr) return standin::report(error, instance);
    if (services.byName.empty()) std::atexit(standin::closeAllEndpoints);
    services.byName.emplace(instance, endpoint);
    return EX_NONE;
}

AIBinder* AServiceManager_checkService(const char* instance) {
    if (!standin::isName(instance)) return nullptr;
    auto attempt = standin::Attempt::kAbsent;
    AIBinder* const binder = standin::find(instance, &attempt);
    if (binder == nullptr && attempt != standin::Attempt::kAbsent) {
        standin::warn("No connection to", instance, standin::explain(attempt, errno));
    }
    return binder;
}

AIBinder* AServiceManager_waitForService(const char* instance) {
    if (!standin::isName(instance)) return nullptr;
    standin::Wait wait(instance);
    for (;;) {
        auto attempt = standin::Attempt::kAbsent;
        AIBinder* const binder = standin::find(instance, &attempt);
        if (binder != nullptr) return binder;
        wait.pause(standin::explain(attempt, errno));
    }
}

bool AServiceManager_isDeclared(const char* instance) {
    return standin::isName(instance) && ::access(standin::endpointOf(instance).c_str(), F_OK) == 0;
}

void AServiceManager_forEachDeclaredInstance(const char* interface, void* context,
                                             void (*callback)(const char*, void*)) {
    for (const std::string& instance : standin::instancesOf(interface)) {
        callback(instance.c_str(), context);
    }
}
