#include <android/binder_manager.h>
#include <android/log.h>
#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "Binder.h"
#include "Endpoint.h"
#include "Proxy.h"

namespace standin {
namespace {

constexpr char kLogTag[] = "ServiceManager";
constexpr useconds_t kLookAgain = 20 * 1000;

const std::string& socketFolder() {
    static const std::string& folder = *new std::string([] {
        const char* root = std::getenv("ANDROID_DEVICE_ROOT");
        return std::string(root == nullptr ? "" : root) + "/dev/socket/binder/";
    }());
    return folder;
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

// All endpoints lie in one folder: the '/' of a name becomes a character that no name holds.
std::string fileNameOf(std::string instance) {
    std::replace(instance.begin(), instance.end(), '/', ':');
    return instance;
}

std::string endpointOf(const char* instance) {
    return socketFolder() + fileNameOf(instance);
}

// The services of this process. Lives as long as it.
struct Services {
    std::mutex mutex;
    std::map<std::string, Endpoint*> byName;
    pid_t process = 0;  // that registered them: a forked child inherits the list, not the services

    // To be called with the mutex held.
    void forgetInherited() {
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
    std::lock_guard<std::mutex> lock(services().mutex);
    services().forgetInherited();
    for (const auto& [name, endpoint] : services().byName) endpoint->close();
}

binder_exception_t report(int error, const char* instance) {
    if (error == EEXIST) return EX_ILLEGAL_STATE;
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "No endpoint for %s at %s: %s", instance,
                        endpointOf(instance).c_str(), std::strerror(error));
    return EX_TRANSACTION_FAILED;
}

std::vector<std::string> instancesOf(const std::string& interface) {
    std::vector<std::string> instances;
    const std::string prefix = fileNameOf(interface + "/");
    DIR* folder = ::opendir(socketFolder().c_str());
    if (folder == nullptr) return instances;
    while (const dirent* entry = ::readdir(folder)) {
        const std::string name = entry->d_name;
        if (name.compare(0, prefix.size(), prefix) == 0) {
            instances.push_back(name.substr(prefix.size()));
        }
    }
    ::closedir(folder);
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
    std::lock_guard<std::mutex> lock(services.mutex);
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
    {
        std::lock_guard<std::mutex> lock(standin::services().mutex);
        standin::services().forgetInherited();
        const auto local = standin::services().byName.find(instance);
        if (local != standin::services().byName.end()) {
            AIBinder* binder = local->second->binder().get();
            binder->incStrong();
            return binder;
        }
    }
    return standin::Proxy::open(standin::endpointOf(instance));
}

AIBinder* AServiceManager_waitForService(const char* instance) {
    if (!standin::isName(instance)) return nullptr;
    AIBinder* binder = nullptr;
    while ((binder = AServiceManager_checkService(instance)) == nullptr) {
        ::usleep(standin::kLookAgain);
    }
    return binder;
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
