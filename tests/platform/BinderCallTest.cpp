#include <android/binder_manager.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "Files.h"
#include "platform/binder/Connection.h"

namespace {

using namespace std::chrono_literals;
using support::ChildProcess;

constexpr char kName[] = "test.IEcho/default";
constexpr char kSocket[] = "/dev/socket/binder/test.IEcho:default";

// --- A service that echoes text, reads what a descriptor leads to, sleeps, and fills replies.

enum Code : transaction_code_t { kEcho = 1, kReadFile, kSleep, kFill };

binder_status_t readFile(const AParcel* in, AParcel* out) {
    ndk::ScopedFileDescriptor file;
    const binder_status_t status = ndk::AParcel_readData(in, &file);
    if (status != STATUS_OK) return status;
    char content[64];
    const ssize_t size = ::pread(file.get(), content, sizeof(content), 0);
    return AParcel_writeString(out, content, static_cast<int32_t>(size));
}

binder_status_t onTransact(AIBinder*, transaction_code_t code, const AParcel* in, AParcel* out) {
    std::string text;
    int32_t number = 0;
    if (code == kReadFile) return readFile(in, out);
    if (code == kEcho) {
        const binder_status_t status = ndk::AParcel_readData(in, &text);
        return status == STATUS_OK ? ndk::AParcel_writeData(out, text) : status;
    }
    if (AParcel_readInt32(in, &number) != STATUS_OK) return STATUS_NOT_ENOUGH_DATA;
    if (code == kSleep) std::this_thread::sleep_for(std::chrono::milliseconds(number));
    if (code == kFill) {
        return ndk::AParcel_writeVector(out, std::vector<uint8_t>(static_cast<size_t>(number)));
    }
    return code == kSleep ? STATUS_OK : STATUS_UNKNOWN_TRANSACTION;
}

const AIBinder_Class* echoClass() {
    static const AIBinder_Class* clazz = AIBinder_Class_define(
            "test.IEcho", [](void* args) { return args; }, [](void*) {}, onTransact);
    return clazz;
}

int serve(uint32_t moreThreads) {
    const ndk::SpAIBinder binder(AIBinder_new(echoClass(), nullptr));
    if (AServiceManager_addService(binder.get(), kName) != EX_NONE) return 1;
    ABinderProcess_setThreadPoolMaxThreadCount(moreThreads);
    ABinderProcess_startThreadPool();
    for (;;) ::pause();
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

    template <class... Args>
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

    binder_status_t sleepFor(std::chrono::milliseconds time) {
        ndk::ScopedAParcel out;
        return call(kSleep, &out, static_cast<int32_t>(time.count()));
    }

    // Whether the service's descriptors come down to `count` within a while.
    bool descriptorsSettleAt(size_t count) {
        for (int i = 0; i < 500; ++i) {
            if (support::openDescriptors(mService->pid()) == count) return true;
            std::this_thread::sleep_for(10ms);
        }
        return false;
    }

    std::unique_ptr<ChildProcess> mService;
    ndk::SpAIBinder mBinder;
};

TEST_F(BinderCall, ReachesAnotherProcessWithTextAndDescriptors) {
    EXPECT_TRUE(AIBinder_isRemote(mBinder.get()));
    EXPECT_EQ(echo(std::string("with \0 and \xe2\x82\xac", 14)), STATUS_OK);
    const ndk::ScopedFileDescriptor memory(::memfd_create("test", MFD_CLOEXEC));
    ASSERT_EQ(::write(memory.get(), "shared", 6), 6);
    const size_t before = support::openDescriptors(mService->pid());
    for (int i = 0; i < 50; ++i) {
        ndk::ScopedAParcel out;
        std::string content;
        ASSERT_EQ(call(kReadFile, &out, memory), STATUS_OK);
        ASSERT_EQ(ndk::AParcel_readData(out.get(), &content), STATUS_OK);
        ASSERT_EQ(content, "shared");
    }
    EXPECT_TRUE(descriptorsSettleAt(before));
}

TEST_F(BinderCall, RefusesWhatIsTooLargeAndGoesOn) {
    EXPECT_EQ(echo(std::string(400 * 1024, 'x')), STATUS_OK);
    EXPECT_EQ(echo(std::string(600 * 1024, 'x')), STATUS_FAILED_TRANSACTION);
    ndk::ScopedAParcel out;
    EXPECT_EQ(call(kFill, &out, int32_t{1016 * 1024 - 4}), STATUS_OK);
    out.set(nullptr);
    EXPECT_EQ(call(kFill, &out, int32_t{1016 * 1024}), STATUS_FAILED_TRANSACTION);
    std::vector<ndk::ScopedFileDescriptor> many;
    for (int i = 0; i < 33; ++i) many.emplace_back(::dup(0));
    EXPECT_EQ(call(kReadFile, &out, many), STATUS_FAILED_TRANSACTION);
    EXPECT_EQ(echo("still there"), STATUS_OK);
}

TEST_F(BinderCall, TellsUnknownCodesAndForeignInterfacesApart) {
    ndk::ScopedAParcel out;
    EXPECT_EQ(call(Code{99}, &out, int32_t{0}), STATUS_UNKNOWN_TRANSACTION);
    EXPECT_EQ(call(kSleep, &out), STATUS_NOT_ENOUGH_DATA);
    EXPECT_EQ(AIBinder_ping(mBinder.get()), STATUS_OK);
    static const auto* other = AIBinder_Class_define(  // lives as long as the process
            "test.IOther", [](void* args) { return args; }, [](void*) {}, onTransact);
    const ndk::SpAIBinder binder(AServiceManager_checkService(kName));
    EXPECT_FALSE(AIBinder_associateClass(binder.get(), other));
    // A request that names another interface is not let in.
    ndk::ScopedAParcel in(AParcel_create());
    AParcel_writeInt32(in.get(), 0);
    EXPECT_EQ(AIBinder_transact(mBinder.get(), kSleep, in.getR(), out.getR(), 0), STATUS_BAD_TYPE);
}

TEST_F(BinderCall, ServesManyCallersAtOnce) {
    std::vector<std::thread> callers;
    std::atomic<int> done{0};
    for (int t = 0; t < 40; ++t) {  // more than connections that a process may have
        callers.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i) {
                if (echo(std::to_string(t * 1000 + i)) == STATUS_OK) ++done;
            }
        });
    }
    for (auto& caller : callers) caller.join();
    EXPECT_EQ(done, 40 * 50);
}

class BinderCallWithOneThread : public BinderCall {
  protected:
    BinderCallWithOneThread() : BinderCall(0) {}
};

TEST_F(BinderCallWithOneThread, TakesOneCallAtATime) {
    const auto begin = std::chrono::steady_clock::now();
    std::vector<std::future<binder_status_t>> calls;
    for (int i = 0; i < 3; ++i) {
        calls.push_back(std::async(std::launch::async, [&] { return sleepFor(100ms); }));
    }
    for (auto& each : calls) EXPECT_EQ(each.get(), STATUS_OK);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 300ms);
}

// --- Peers that break the rules. None of them may hold the one thread that answers calls.

int rawConnection() {
    const int fd = standin::connectTo(kSocket);
    EXPECT_GE(fd, 0);
    char hello[24];
    EXPECT_EQ(::recv(fd, hello, sizeof(hello), MSG_WAITALL), 24);
    return fd;
}

bool isClosed(int fd) {
    const timeval patience = {8, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    char byte;
    const ssize_t received = ::recv(fd, &byte, 1, 0);
    return received == 0 || (received < 0 && errno == ECONNRESET);
}

TEST_F(BinderCallWithOneThread, DropsPeersThatSendNonsense) {
    const size_t before = support::openDescriptors(mService->pid());
    const uint32_t magic = 0x52444e42;
    const uint32_t tooLarge[4] = {magic, 1024 * 1024, 1, 0};
    const uint32_t missingDescriptor[4] = {magic, 0, kReadFile, 1};
    const uint32_t twoFrames[8] = {magic, 0, 0x5f504e47, 0, magic, 0, 0x5f504e47, 0};
    const std::string garbage(5000, '\xff');
    const std::pair<const void*, size_t> attempts[] = {
            {garbage.data(), garbage.size()},
            {tooLarge, sizeof(tooLarge)},
            {missingDescriptor, sizeof(missingDescriptor)},
            {twoFrames, sizeof(twoFrames)}};
    for (const auto& [bytes, size] : attempts) {
        const ndk::ScopedFileDescriptor peer(rawConnection());
        ASSERT_EQ(::send(peer.get(), bytes, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
        EXPECT_TRUE(isClosed(peer.get()));
        EXPECT_EQ(echo("unharmed"), STATUS_OK);
    }
    EXPECT_TRUE(descriptorsSettleAt(before));
}

// Sends `count` descriptors beside the bytes.
void sendDescriptors(int socket, const void* bytes, size_t size, size_t count) {
    std::vector<char> control(CMSG_SPACE(count * sizeof(int)));
    iovec piece = {const_cast<void*>(bytes), size};
    msghdr message = {};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(count * sizeof(int));
    for (size_t i = 0; i < count; ++i) reinterpret_cast<int*>(CMSG_DATA(header))[i] = 0;
    EXPECT_EQ(::sendmsg(socket, &message, MSG_NOSIGNAL), static_cast<ssize_t>(size));
}

TEST_F(BinderCallWithOneThread, DropsPeersThatSendTooManyDescriptors) {
    const size_t before = support::openDescriptors(mService->pid());
    const uint32_t ping[4] = {0x52444e42, 0, 0x5f504e47, 0};
    for (const size_t count : {1U, 100U, 250U}) {
        const ndk::ScopedFileDescriptor peer(rawConnection());
        sendDescriptors(peer.get(), ping, sizeof(ping), count);
        EXPECT_TRUE(isClosed(peer.get())) << count;
    }
    // Spread over the bytes of one frame.
    const ndk::ScopedFileDescriptor peer(rawConnection());
    for (size_t i = 0; i < 4; ++i) sendDescriptors(peer.get(), &ping[i], sizeof(ping[i]), 20);
    EXPECT_TRUE(isClosed(peer.get()));
    const bool emulated = std::string(EMULATOR).find("qemu") != std::string::npos;
    EXPECT_TRUE(emulated || descriptorsSettleAt(before));  // qemu keeps what it cuts off
    EXPECT_EQ(echo("unharmed"), STATUS_OK);
}

TEST_F(BinderCallWithOneThread, DropsPeersThatSendHalfAFrameAndWait) {
    const ndk::ScopedFileDescriptor peer(rawConnection());
    const uint32_t half[4] = {0x52444e42, 1000, kEcho, 0};
    ASSERT_EQ(::send(peer.get(), half, sizeof(half), MSG_NOSIGNAL), 16);
    EXPECT_EQ(echo("meanwhile"), STATUS_OK);
    EXPECT_TRUE(isClosed(peer.get()));
}

TEST_F(BinderCallWithOneThread, IsNotHeldUpByPeersThatDieOrNeverRead) {
    for (int i = 0; i < 20; ++i) {
        const ndk::ScopedFileDescriptor dying(rawConnection());
        standin::Connection connection(::dup(dying.get()));
        AParcel request;
        standin::writeInterfaceToken(&request, "test.IEcho");
        AParcel_writeInt32(&request, 900 * 1024);  // a reply that the socket cannot take at once
        ASSERT_TRUE(connection.send(kFill, &request));
        if (i % 2 == 0) ::shutdown(dying.get(), SHUT_RD);
    }
    const ndk::ScopedFileDescriptor silent(rawConnection());
    standin::Connection connection(::dup(silent.get()));
    AParcel request;
    standin::writeInterfaceToken(&request, "test.IEcho");
    AParcel_writeInt32(&request, 900 * 1024);
    ASSERT_TRUE(connection.send(kFill, &request));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(echo("unharmed"), STATUS_OK);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 3s);
}

TEST_F(BinderCall, TurnsAwayAProcessWithTooManyConnectionsOnly) {
    std::vector<ndk::ScopedFileDescriptor> greedy;
    ChildProcess other([] {
        std::vector<int> all;
        for (int i = 0; i < 300; ++i) all.push_back(standin::connectTo(kSocket));
        std::this_thread::sleep_for(1s);
        char hello[24];
        int admitted = 0;
        for (const int fd : all) admitted += ::recv(fd, hello, sizeof(hello), MSG_WAITALL) == 24;
        return admitted == 256 ? 0 : 1;
    });
    EXPECT_EQ(echo("not that process"), STATUS_OK);
    EXPECT_EQ(other.wait(), 0);
}

// --- Death.

struct Deaths {
    std::promise<void> told;
    std::atomic<int> died{0};
    std::atomic<int> unlinked{0};
};

ndk::ScopedAIBinder_DeathRecipient makeRecipient() {
    ndk::ScopedAIBinder_DeathRecipient recipient(AIBinder_DeathRecipient_new([](void* cookie) {
        auto* deaths = static_cast<Deaths*>(cookie);
        if (++deaths->died == 1) deaths->told.set_value();
    }));
    AIBinder_DeathRecipient_setOnUnlinked(
            recipient.get(), [](void* cookie) { ++static_cast<Deaths*>(cookie)->unlinked; });
    return recipient;
}

TEST_F(BinderCall, ReportsAServiceThatIsKilledInMidCallAndFindsTheNextOne) {
    Deaths deaths;
    const auto recipient = makeRecipient();
    ASSERT_EQ(AIBinder_linkToDeath(mBinder.get(), recipient.get(), &deaths), STATUS_OK);
    auto pending = std::async(std::launch::async, [&] { return sleepFor(60s); });
    std::this_thread::sleep_for(50ms);
    mService->endWith(SIGKILL);
    EXPECT_EQ(pending.get(), STATUS_DEAD_OBJECT);
    EXPECT_EQ(deaths.told.get_future().wait_for(5s), std::future_status::ready);
    EXPECT_FALSE(AIBinder_isAlive(mBinder.get()));
    EXPECT_EQ(AIBinder_linkToDeath(mBinder.get(), recipient.get(), &deaths), STATUS_DEAD_OBJECT);

    // A new service at once, where the killed one left its socket. The old proxy stays dead.
    mService = std::make_unique<ChildProcess>([] { return serve(3); });
    const ndk::SpAIBinder next = find();
    EXPECT_EQ(echo("old"), STATUS_DEAD_OBJECT);
    mBinder = next;
    EXPECT_EQ(echo("new"), STATUS_OK);
    EXPECT_EQ(deaths.died, 1);
}

TEST_F(BinderCall, NeverMistakesTheNextServiceForTheOneThatDied) {
    mService->endWith(SIGKILL);
    mService = std::make_unique<ChildProcess>([] { return serve(3); });
    const ndk::SpAIBinder next = find();
    EXPECT_EQ(echo("nobody asked in between"), STATUS_DEAD_OBJECT);
}

TEST_F(BinderCall, TellsNoDeathToARecipientThatWasUnlinked) {
    Deaths unlinkedOne;
    Deaths deletedOne;
    Deaths keptOne;
    const auto recipient = makeRecipient();
    auto deleted = makeRecipient();
    AIBinder_linkToDeath(mBinder.get(), recipient.get(), &unlinkedOne);
    AIBinder_linkToDeath(mBinder.get(), deleted.get(), &deletedOne);
    AIBinder_linkToDeath(mBinder.get(), recipient.get(), &keptOne);
    EXPECT_EQ(AIBinder_unlinkToDeath(mBinder.get(), recipient.get(), &unlinkedOne), STATUS_OK);
    EXPECT_EQ(AIBinder_unlinkToDeath(mBinder.get(), recipient.get(), &unlinkedOne),
              STATUS_NAME_NOT_FOUND);
    deleted.set(nullptr);
    mService->endWith(SIGTERM);
    EXPECT_EQ(keptOne.told.get_future().wait_for(5s), std::future_status::ready);
    EXPECT_EQ(unlinkedOne.died + deletedOne.died, 0);
    EXPECT_EQ(unlinkedOne.unlinked + deletedOne.unlinked, 2);
}

// --- Names.

TEST_F(BinderCall, GivesAnInstanceNameToOneLivingServiceOnly) {
    ChildProcess second([] { return serve(0); });
    EXPECT_EQ(second.wait(), 1);
    EXPECT_EQ(echo("the first one stays"), STATUS_OK);
}

TEST(BinderNames, AreCheckedBeforeAnythingIsMade) {
    const ndk::SpAIBinder binder(AIBinder_new(echoClass(), nullptr));
    for (const std::string& name :
         {std::string(), std::string("a b"), std::string("a:b"), std::string(128, 'x')}) {
        EXPECT_EQ(AServiceManager_addService(binder.get(), name.c_str()), EX_ILLEGAL_ARGUMENT);
        EXPECT_EQ(AServiceManager_checkService(name.c_str()), nullptr);
    }
    EXPECT_EQ(AServiceManager_addService(nullptr, kName), EX_ILLEGAL_ARGUMENT);
    EXPECT_EQ(support::namesIn("/dev/socket/binder"), std::vector<std::string>{});
}

TEST(BinderNames, AreFoundByTheirInterface) {
    const ndk::SpAIBinder binder(AIBinder_new(echoClass(), nullptr));
    for (const char* name : {"test.IEcho/b", "test.IEcho/a", "test.IEcho2/c"}) {
        EXPECT_EQ(AServiceManager_addService(binder.get(), name), EX_NONE);
    }
    EXPECT_EQ(AServiceManager_addService(binder.get(), "test.IEcho/a"), EX_ILLEGAL_STATE);
    std::string found;
    AServiceManager_forEachDeclaredInstance("test.IEcho", &found, [](const char* name, void* to) {
        static_cast<std::string*>(to)->append(name).append(" ");
    });
    EXPECT_EQ(found, "a b ");
    // In its own process a service is found as itself.
    const ndk::SpAIBinder local(AServiceManager_checkService("test.IEcho/a"));
    EXPECT_EQ(local, binder);
    EXPECT_FALSE(AIBinder_isRemote(local.get()));
}

}  // namespace
