#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

#include "Options.h"
#include "SessionOperator.h"
#include "Trace.h"

using aidl::vendor::tav::lumvndhal_aidl::LumvndhalImpl;

namespace {

// What the service makes is for its user and its group. Every level of a tree that is removed takes
// a descriptor. A reader of standard error that goes away must not take the service along.
void prepareProcess() {
    ::umask(0007);
    rlimit descriptors = {};
    if (::getrlimit(RLIMIT_NOFILE, &descriptors) == 0) {
        descriptors.rlim_cur = descriptors.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &descriptors);
    }
    ::signal(SIGPIPE, SIG_IGN);
}

// To be called before any thread is started: all of them leave these signals to waitForEnd().
sigset_t blockEndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

void waitForEnd(const sigset_t& signals) {
    int signal = 0;
    while (::sigwait(&signals, &signal) != 0) {
    }
}

std::shared_ptr<LumvndhalImpl> makeService(const Options& options) {
    const session_operator::Callbacks callbacks = session_operator::callbacks();
    if (callbacks.setCampOperation == nullptr || callbacks.setCampModuleOperation == nullptr ||
        callbacks.getCampStatus == nullptr || callbacks.getCollectorsState == nullptr) {
        std::fprintf(stderr, "The session operator lacks a callback: the service needs all four\n");
        return nullptr;
    }
    auto service = ndk::SharedRefBase::make<LumvndhalImpl>();
    service->init_session_operator(callbacks.setCampOperation, callbacks.setCampModuleOperation,
                                   callbacks.getCampStatus, callbacks.getCollectorsState);
    service->set_lumtr_version(options.version.c_str());
    return service;
}

// What the service manager means. On a device its own lines in the log say which of two it is, and
// a second service of the name takes the place of the first without a word.
const char* reasonOf(binder_exception_t refusal) {
    switch (refusal) {
        case EX_ILLEGAL_STATE:
            return "a living service has this name already";
        case EX_ILLEGAL_ARGUMENT:
            return "this is no valid name, or no VINTF manifest declares it";
        case EX_SECURITY:
            return "this process may not register it";
        default:
            return "the service manager did not take it";
    }
}

bool registerService(LumvndhalImpl& service, const std::string& name) {
    const binder_exception_t result =
            AServiceManager_addService(service.asBinder().get(), name.c_str());
    if (result == EX_NONE) return true;
    std::fprintf(stderr, "Cannot register %s: %s\n", name.c_str(), reasonOf(result));
    return false;
}

int serve(const Options& options) {
    prepareProcess();
    const sigset_t endSignals = blockEndSignals();
    if (options.trace) traceCalls();
    const auto service = makeService(options);
    if (service == nullptr) return EXIT_FAILURE;
    if (!registerService(*service, LumvndhalImpl::makeServiceName(options.instance))) {
        return EXIT_FAILURE;
    }
    ABinderProcess_setThreadPoolMaxThreadCount(options.threads -
                                               1);  // and one more is always there
    ABinderProcess_startThreadPool();
    waitForEnd(endSignals);
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = parseOptions(argc, argv);
    switch (options.action) {
        case Options::Action::kServe:
            return serve(options);
        case Options::Action::kShowHelp:
            printHelp(argv[0]);
            return EXIT_SUCCESS;
        case Options::Action::kRefuse:
            return 2;
    }
    return EXIT_FAILURE;
}
