#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

// The C++ frame of an interface: reference-counted objects (SharedRefBase), what every interface
// has (ICInterface), and the bases of a server's object (BnCInterface) and of a client's proxy
// (BpCInterface).

namespace ndk {

// Base of objects that are shared by reference. Made with SharedRefBase::make<T>() alone.
class SharedRefBase {
  public:
    SharedRefBase() = default;
    SharedRefBase(const SharedRefBase&) = delete;
    SharedRefBase& operator=(const SharedRefBase&) = delete;
    virtual ~SharedRefBase();

    // A further strong reference to this object. Aborts when the object was not made by make().
    std::shared_ptr<SharedRefBase> ref();

    template <typename Child>
    std::shared_ptr<Child> ref() {
        return std::static_pointer_cast<Child>(ref());
    }

    // The only way to make an object of a class derived from this one.
    template <typename T, class... Args>
    static std::shared_ptr<T> make(Args&&... args) {
        static_assert(std::is_base_of<SharedRefBase, T>::value, "T must derive from SharedRefBase");
        T* object = new T(std::forward<Args>(args)...);
        return object->template ref<T>();
    }

    // NOLINTNEXTLINE(misc-new-delete-overloads,cert-dcl54-cpp): its partner is private
    static void operator delete(void* memory) { std::free(memory); }

  private:
    static void* operator new(size_t size) {
        void* memory = std::malloc(size);
        if (memory == nullptr) std::abort();
        return memory;
    }

    std::once_flag mRefOnce;
    std::weak_ptr<SharedRefBase> mThis;
};

// What every interface has, whether the object is here or elsewhere.
class ICInterface : public SharedRefBase {
  public:
    // The binder of this object; made on first use for a server's object.
    virtual SpAIBinder asBinder() = 0;
    // Whether calls leave this process.
    virtual bool isRemote() = 0;
    virtual binder_status_t dump(int fd, const char** args, uint32_t argCount);
    virtual binder_status_t handleShellCommand(int in, int out, int err, const char** args,
                                               uint32_t argCount);

    // The object behind a local binder that was defined with defineClass, else null.
    static std::shared_ptr<ICInterface> asInterface(AIBinder* binder);
    // A class whose local objects hold an ICInterface.
    static AIBinder_Class* defineClass(const char* descriptor,
                                       AIBinder_Class_onTransact onTransact);
};

// Base of a server's object.
template <typename Interface>
class BnCInterface : public Interface {
  public:
    SpAIBinder asBinder() final;
    bool isRemote() final { return false; }

    // "<descriptor>/<instance>", the name to register under.
    static std::string makeServiceName(std::string_view instance) {
        return std::string(Interface::descriptor).append("/").append(instance);
    }

  protected:
    // Makes the binder of this object; the generated stub knows its class.
    virtual SpAIBinder createBinder() = 0;

  private:
    std::mutex mMutex;  // guards mWeakBinder
    ScopedAIBinder_Weak mWeakBinder;
};

// Base of a client's proxy.
template <typename Interface>
class BpCInterface : public Interface {
  public:
    explicit BpCInterface(const SpAIBinder& binder) : mBinder(binder) {}

    SpAIBinder asBinder() final { return mBinder; }
    const SpAIBinder& asBinderReference() const { return mBinder; }
    bool isRemote() final { return AIBinder_isRemote(mBinder.get()); }
    binder_status_t dump(int, const char**, uint32_t) override { return STATUS_INVALID_OPERATION; }

  private:
    SpAIBinder mBinder;
};

template <typename Interface>
SpAIBinder BnCInterface<Interface>::asBinder() {
    std::lock_guard<std::mutex> lock(mMutex);
    SpAIBinder binder(mWeakBinder.get() == nullptr ? nullptr
                                                   : AIBinder_Weak_promote(mWeakBinder.get()));
    if (binder.get() == nullptr) {
        binder = createBinder();
        mWeakBinder.set(AIBinder_Weak_new(binder.get()));
    }
    return binder;
}

}  // namespace ndk
