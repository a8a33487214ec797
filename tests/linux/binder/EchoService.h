// A service for the tests of calls between processes, and a client of it.
#pragma once

#include <android/binder_manager.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "ChildProcess.h"
#include "Files.h"
#include "linux/platform/binder/Attempt.h"

namespace echo_service {

using namespace std::chrono_literals;
using support::ChildProcess;

constexpr char kName[] = "test.IEcho/default";
constexpr char kSocket[] = "/dev/socket/binder/test.IEcho:default";

// What the service does: it echoes text, reads what a descriptor leads to and sends it back,
// sleeps, fills and loses a reply.
enum Code : transaction_code_t { kEcho = 1, kReadFile, kSleep, kFill, kLoseReply };

// Lets no connection of this process send any more.
inline void stopSending() {
    // Downwards: a connection that is made meanwhile has a higher number.
    for (int fd = 63; fd > STDERR_FILENO; --fd) ::shutdown(fd, SHUT_WR);
}

inline binder_status_t onTransact(AIBinder*, transaction_code_t code, const AParcel* in,
                                  AParcel* out) {
    std::string text(64, ' ');
    int32_t number = 0;
    if (code == kReadFile || code == kEcho) {
        ndk::ScopedFileDescriptor file;
        const binder_status_t status =
                code == kEcho ? ndk::AParcel_readData(in, &text) : ndk::AParcel_readData(in, &file);
        if (status != STATUS_OK) return status;
        if (code == kReadFile) {
            text.resize(static_cast<size_t>(::pread(file.get(), text.data(), text.size(), 0)));
            ndk::AParcel_writeData(out, file);
        }
        return ndk::AParcel_writeData(out, text);
    }
    if (AParcel_readInt32(in, &number) != STATUS_OK) return STATUS_NOT_ENOUGH_DATA;
    if (code == kLoseReply) stopSending();
    if (code == kSleep) std::this_thread::sleep_for(std::chrono::milliseconds(number));
    if (code == kFill) {
        return ndk::AParcel_writeVector(out, std::vector<uint8_t>(static_cast<size_t>(number)));
    }
    return STATUS_OK;
}

inline const AIBinder_Class* echoClass() {
    static const AIBinder_Class* clazz = AIBinder_Class_define(
            "test.IEcho", [](void* args) { return args; }, [](void*) {}, onTransact);
    return clazz;
}

inline int serve(uint32_t moreThreads) {
    const ndk::SpAIBinder binder(AIBinder_new(echoClass(), nullptr));
    if (AServiceManager_addService(binder.get(), kName) != EX_NONE) return 1;
    ABinderProcess_setThreadPoolMaxThreadCount(moreThreads);
    ABinderProcess_startThreadPool();
    for (;;) ::pause();
}

inline bool isGreeted(int fd) {
    standin::Greeting greeting;
    return ::recv(fd, &greeting, sizeof(greeting), MSG_WAITALL) == sizeof(greeting);
}

class BinderCall : public testing::Test {
  protected:
    explicit BinderCall(uint32_t moreThreads = 3)
        : mService(std::make_unique<ChildProcess>([=] { return serve(moreThreads); })),
          mBinder(find()) {}

    static ndk::SpAIBinder find() {
        ndk::SpAIBinder binder(AServiceManager_waitForService(kName));
        EXPECT_TRUE(AIBinder_associateClass(binder.get(), echoClass()));
        return binder;
    }

    template <typename... Args>
    binder_status_t call(Code code, ndk::ScopedAParcel* out, const Args&... args) {
        ndk::ScopedAParcel in;
        binder_status_t status = AIBinder_prepareTransaction(mBinder.get(), in.getR());
        ((status = status == STATUS_OK ? ndk::AParcel_writeData(in.get(), args) : status), ...);
        if (status != STATUS_OK) return status;
        return AIBinder_transact(mBinder.get(), code, in.getR(), out->getR(), 0);
    }

    binder_status_t echo(const std::string& text) {
        ndk::ScopedAParcel out;
        std::string answer;
        binder_status_t status = call(kEcho, &out, text);
        if (status == STATUS_OK) status = ndk::AParcel_readData(out.get(), &answer);
        EXPECT_EQ(answer, status == STATUS_OK ? text : "");
        return status;
    }

    // A call of so many milliseconds, under way when this returns.
    std::future<binder_status_t> startSleep(int32_t time) {
        auto pending = std::async(std::launch::async, [=] {
            ndk::ScopedAParcel out;
            return call(kSleep, &out, time);
        });
        std::this_thread::sleep_for(100ms);
        return pending;
    }

    std::unique_ptr<ChildProcess> mService;
    ndk::SpAIBinder mBinder;
};

}  // namespace echo_service
