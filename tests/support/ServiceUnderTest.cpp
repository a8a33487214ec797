#include "ServiceUnderTest.h"

#include <android/binder_manager.h>
#include <android/binder_process.h>

#include <cstdlib>

namespace support {
namespace {

const std::string kInstance = std::string(ILumvndhal::descriptor) + "/under-test";

std::shared_ptr<LumvndhalImpl> makeObject(void (*prepare)(LumvndhalImpl&)) {
    auto object = ndk::SharedRefBase::make<LumvndhalImpl>();
    if (prepare != nullptr) prepare(*object);
    return object;
}

int serve(void (*prepare)(LumvndhalImpl&)) {
    const auto object = makeObject(prepare);
    const ndk::SpAIBinder binder = object->asBinder();
    if (AServiceManager_addService(binder.get(), kInstance.c_str()) != EX_NONE) return 1;
    ABinderProcess_startThreadPool();
    for (;;) ABinderProcess_joinThreadPool();
}

}  // namespace

ServiceUnderTest::ServiceUnderTest(From from, void (*prepare)(LumvndhalImpl&)) {
    if (from == From::kSameProcess) {
        mInterface = makeObject(prepare);
        mCapture = std::make_unique<LogCapture>();
        return;
    }
    mChild = std::make_unique<ChildProcess>([&] { return serve(prepare); });
    const ndk::SpAIBinder binder(AServiceManager_waitForService(kInstance.c_str()));
    mInterface = ILumvndhal::fromBinder(binder);
    if (mInterface == nullptr) std::abort();
}

}  // namespace support
