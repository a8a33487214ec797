#include <android/binder_interface_utils.h>
#include <fcntl.h>

#include <cstdio>

namespace ndk {
namespace {

[[noreturn]] void abortWith(const char* sentence) {
    std::fprintf(stderr, "SharedRefBase: %s\n", sentence);
    std::abort();
}

// The user data of a local binder: a strong reference to the object that answers its calls.
struct InterfaceData {
    std::shared_ptr<ICInterface> interface;
};

void* holdInterface(void* args) {
    return new InterfaceData{static_cast<ICInterface*>(args)->ref<ICInterface>()};
}

void releaseInterface(void* userData) {
    delete static_cast<InterfaceData*>(userData);
}

}  // namespace

std::shared_ptr<SharedRefBase> SharedRefBase::ref() {
    std::shared_ptr<SharedRefBase> self;
    std::call_once(mRefOnce, [&] {
        self.reset(this);
        mThis = self;
    });
    if (self == nullptr) self = mThis.lock();
    if (self == nullptr) abortWith("a reference was asked of an object that is being destroyed");
    return self;
}

SharedRefBase::~SharedRefBase() {
    std::call_once(mRefOnce, [] {
        abortWith("the object never had a reference: make it with SharedRefBase::make<T>() alone");
    });
    if (mThis.lock() != nullptr) {
        abortWith("the object is destroyed while references to it exist: it has a second owner");
    }
}

binder_status_t ICInterface::dump(int, const char**, uint32_t) {
    return STATUS_OK;
}

binder_status_t ICInterface::handleShellCommand(int, int, int, const char**, uint32_t) {
    return STATUS_OK;
}

std::shared_ptr<ICInterface> ICInterface::asInterface(AIBinder* binder) {
    if (binder == nullptr || AIBinder_isRemote(binder)) return nullptr;
    auto* data = static_cast<InterfaceData*>(AIBinder_getUserData(binder));
    return data == nullptr ? nullptr : data->interface;
}

AIBinder_Class* ICInterface::defineClass(const char* descriptor,
                                         AIBinder_Class_onTransact onTransact) {
    return AIBinder_Class_define(descriptor, holdInterface, releaseInterface, onTransact);
}

ScopedFileDescriptor ScopedFileDescriptor::dup() const {
    return ScopedFileDescriptor(get() < 0 ? -1 : ::fcntl(get(), F_DUPFD_CLOEXEC, 0));
}

}  // namespace ndk
