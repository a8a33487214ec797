#include <android/binder_interface_utils.h>
#include <android/log.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include "EchoService.h"

namespace {

using namespace echo_service;
using testing::HasSubstr;

TEST_F(BinderCall, ReachesAnotherProcessWithTextAndDescriptors) {
    EXPECT_TRUE(AIBinder_isRemote(mBinder.get()));
    const ndk::ScopedFileDescriptor memory(::memfd_create("test", MFD_CLOEXEC));
    ASSERT_EQ(::write(memory.get(), "shared", 6), 6);
    const size_t before = support::openDescriptors(mService->pid());
    for (int i = 0; i < 50; ++i) {
        ndk::ScopedAParcel out;
        std::string content;
        ndk::ScopedFileDescriptor back;
        ASSERT_EQ(call(kReadFile, &out, memory), STATUS_OK);
        ASSERT_EQ(ndk::AParcel_readData(out.get(), &back), STATUS_OK);
        ASSERT_EQ(ndk::AParcel_readData(out.get(), &content), STATUS_OK);
        ASSERT_EQ(content, "shared");
    }
    EXPECT_TRUE(mService->descriptorsSettleAt(before));
    EXPECT_EQ(echo(std::string("with \0 and \xe2\x82\xac", 14)), STATUS_OK);
}

TEST_F(BinderCall, RefusesWhatIsTooLargeAndGoesOn) {
    EXPECT_EQ(echo(std::string(400 * 1024, 'x')), STATUS_OK);
    EXPECT_EQ(echo(std::string(600 * 1024, 'x')), STATUS_FAILED_TRANSACTION);
    ndk::ScopedAParcel out;
    EXPECT_EQ(call(kFill, &out, int32_t{standin::kMaxParcelSize - 4}), STATUS_OK);
    out.set(nullptr);
    EXPECT_EQ(call(kFill, &out, int32_t{standin::kMaxParcelSize}), STATUS_FAILED_TRANSACTION);
    std::vector<ndk::ScopedFileDescriptor> many;
    for (size_t i = 0; i <= standin::kMaxDescriptors; ++i) many.emplace_back(::dup(0));
    EXPECT_EQ(call(kReadFile, &out, many), STATUS_FAILED_TRANSACTION);
    EXPECT_EQ(echo("still there"), STATUS_OK);
}

TEST_F(BinderCall, TellsForeignInterfacesApart) {
    EXPECT_EQ(AIBinder_ping(mBinder.get()), STATUS_OK);
    static const auto* other = AIBinder_Class_define(  // lives as long as the process
            "test.IOther", [](void* args) { return args; }, [](void*) {}, onTransact);
    const ndk::SpAIBinder binder(AServiceManager_checkService(kName));
    EXPECT_FALSE(AIBinder_associateClass(binder.get(), other));
    EXPECT_FALSE(AIBinder_associateClass(mBinder.get(), other));
    EXPECT_EQ(AIBinder_getUserData(mBinder.get()), nullptr);
    EXPECT_EQ(ndk::ICInterface::asInterface(mBinder.get()), nullptr);
    EXPECT_EQ(AServiceManager_addService(mBinder.get(), kName), EX_ILLEGAL_ARGUMENT);
}

TEST_F(BinderCall, ServesManyCallersAtOnce) {
    std::vector<std::thread> callers;
    for (size_t t = 0; t < standin::kMaxConnections + 8; ++t) {
        callers.emplace_back([&, t] {
            for (size_t i = 0; i < 50; ++i) EXPECT_EQ(echo(std::to_string(t * 99 + i)), STATUS_OK);
        });
    }
    for (auto& caller : callers) caller.join();
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

TEST_F(BinderCall, ReportsAServiceThatIsKilled) {
    Deaths deaths[4];  // of recipients that are kept, unlinked and deleted, and of a proxy dropped
    const auto kept = makeRecipient();
    auto deleted = makeRecipient();
    const ndk::SpAIBinder uncalled = find();  // it learns of the end from its watching alone
    AIBinder* const binder = uncalled.get();
    ASSERT_EQ(AIBinder_linkToDeath(binder, kept.get(), &deaths[0]), STATUS_OK);
    ASSERT_EQ(AIBinder_linkToDeath(binder, kept.get(), &deaths[1]), STATUS_OK);
    ASSERT_EQ(AIBinder_linkToDeath(binder, deleted.get(), &deaths[2]), STATUS_OK);
    EXPECT_EQ(AIBinder_unlinkToDeath(binder, kept.get(), &deaths[1]), STATUS_OK);
    EXPECT_EQ(AIBinder_unlinkToDeath(binder, kept.get(), &deaths[1]), STATUS_NAME_NOT_FOUND);
    deleted.set(nullptr);
    EXPECT_EQ(AIBinder_linkToDeath(find().get(), kept.get(), &deaths[3]), STATUS_OK);
    auto pending = startSleep(60000);
    mService->endWith(SIGKILL);
    EXPECT_EQ(pending.get(), STATUS_DEAD_OBJECT);
    EXPECT_EQ(deaths[0].told.get_future().wait_for(5s), std::future_status::ready);
    EXPECT_FALSE(AIBinder_isAlive(binder));
    EXPECT_EQ(AIBinder_linkToDeath(binder, kept.get(), &deaths[0]), STATUS_DEAD_OBJECT);
    EXPECT_EQ(deaths[0].died, 1);
    EXPECT_EQ(deaths[1].died + deaths[2].died + deaths[3].died, 0);
    EXPECT_EQ(deaths[1].unlinked + deaths[2].unlinked + deaths[3].unlinked, 3);
}

// The new service is there at once, where the killed one left its socket.
TEST_F(BinderCall, NeverMistakesTheNextServiceForTheOneThatDied) {
    ChildProcess tooEarly([] { return serve(0); });
    EXPECT_EQ(tooEarly.wait(), 1);
    EXPECT_EQ(echo("the first one keeps the name"), STATUS_OK);
    mService->endWith(SIGKILL);
    mService = std::make_unique<ChildProcess>([] { return serve(3); });
    const ndk::SpAIBinder next = find();
    EXPECT_EQ(echo("not asked in between"), STATUS_DEAD_OBJECT);
}

TEST_F(BinderCall, TellsWhatMayHaveBeenDoneFromWhatWasNot) {
    ndk::ScopedAParcel out;
    EXPECT_EQ(call(kLoseReply, &out, int32_t{0}), STATUS_DEAD_OBJECT);
    EXPECT_TRUE(AIBinder_isAlive(mBinder.get()));
    EXPECT_EQ(echo("over a new connection"), STATUS_OK);
    stopSending();
    EXPECT_EQ(echo("never sent"), STATUS_FAILED_TRANSACTION);
    EXPECT_EQ(echo("over a new connection"), STATUS_OK);
}

TEST_F(BinderCall, EndsAServiceThatHasNoMemoryForACall) {
    const rlimit none = {0, 0};
    ASSERT_EQ(::prlimit(mService->pid(), RLIMIT_DATA, &none, nullptr), 0);
    EXPECT_EQ(echo(std::string(400 * 1024, 'x')), STATUS_DEAD_OBJECT);
    EXPECT_NE(mService->wait(), 0);
}

// --- No connection.

// What the log says when the service cannot be got hold of.
std::string whyNot() {
    testing::internal::CaptureStderr();
    EXPECT_EQ(AServiceManager_checkService(kName), nullptr);
    return testing::internal::GetCapturedStderr();
}

// Of a process, or of this one for 0; the limit before.
rlimit limitDescriptors(pid_t process, rlim_t count) {
    rlimit limit = {};
    EXPECT_EQ(::prlimit(process, RLIMIT_NOFILE, nullptr, &limit), 0);
    const rlimit wanted = {count, limit.rlim_max};
    EXPECT_EQ(::prlimit(process, RLIMIT_NOFILE, &wanted, nullptr), 0);
    return limit;
}

TEST_F(BinderCall, IsRefusedToAProcessThatHasTooManyConnectionsAlready) {
    std::vector<ndk::ScopedFileDescriptor> all(standin::kMaxCallersOfAProcess + 4);
    size_t admitted = 1;  // the proxy's
    for (auto& each : all) {
        each.set(standin::connectToSocket(kSocket, standin::kPatience));
        if (isGreeted(each.get())) ++admitted;
    }
    EXPECT_EQ(admitted, standin::kMaxCallersOfAProcess);
    EXPECT_THAT(whyNot(), HasSubstr("turns this process away"));
    ChildProcess other([] { return AServiceManager_checkService(kName) == nullptr; });
    EXPECT_EQ(other.wait(), 0);
    auto pending = startSleep(2000);  // over the proxy's connection: a call needs another
    EXPECT_EQ(echo("one too many"), STATUS_WOULD_BLOCK);
    all.clear();
    const rlimit limit = limitDescriptors(0, 0);
    EXPECT_EQ(echo("no descriptor for it"), STATUS_WOULD_BLOCK);
    EXPECT_GE(::fcntl(STDIN_FILENO, F_GETFD), 0);  // nor was another taken for it
    limitDescriptors(0, limit.rlim_cur);
    EXPECT_EQ(pending.get(), STATUS_OK);
    EXPECT_EQ(echo("alive all the time"), STATUS_OK);
}

TEST_F(BinderCall, FailsSoonAndSaysWhyWhenTheServiceCannotAnswer) {
    const pid_t service = mService->pid();
    const std::string open = "/proc/" + std::to_string(service) + "/fd/";
    rlim_t count = 0;
    while (support::exists(open + std::to_string(count))) ++count;
    const rlimit limit = limitDescriptors(service, count);
    const ndk::SpAIBinder last = find();  // accept() has had a descriptor for it all the time
    EXPECT_THAT(whyNot(), HasSubstr("lacks descriptors"));
    limitDescriptors(service, limit.rlim_cur);
    EXPECT_NE(find().get(), nullptr);
    ::kill(service, SIGSTOP);
    EXPECT_THAT(whyNot(), HasSubstr("does not answer"));
}

std::promise<std::string> gSaid;

TEST(BinderNames, AreWaitedForWithAWord) {
    __android_log_set_logger([](const auto* line) { gSaid.set_value(line->message); });
    auto waiting = std::async(std::launch::async, [] {
        return ndk::SpAIBinder(AServiceManager_waitForService(kName));
    });
    EXPECT_THAT(gSaid.get_future().get(), HasSubstr(std::string(kSocket) + ": nothing is there"));
    const ndk::SpAIBinder late(AIBinder_new(echoClass(), nullptr));
    EXPECT_EQ(AServiceManager_addService(late.get(), kName), EX_NONE);
    EXPECT_EQ(waiting.get(), late);  // in its own process a service is found as itself
}

// --- Names.

TEST(BinderNames, AreCheckedBeforeAnythingIsMadeAndFoundByTheirInterface) {
    const ndk::SpAIBinder binder(AIBinder_new(echoClass(), nullptr));
    for (const std::string& name : {std::string(), std::string("a b"), std::string("a:b"),
                                    std::string(standin::kMaxNameLength + 1, 'x')}) {
        EXPECT_EQ(AServiceManager_addService(binder.get(), name.c_str()), EX_ILLEGAL_ARGUMENT);
        EXPECT_EQ(AServiceManager_checkService(name.c_str()), nullptr);
        EXPECT_EQ(AServiceManager_waitForService(name.c_str()), nullptr);
        EXPECT_FALSE(AServiceManager_isDeclared(name.c_str()));
    }
    EXPECT_EQ(AServiceManager_addService(nullptr, kName), EX_ILLEGAL_ARGUMENT);
    EXPECT_EQ(AServiceManager_addService(binder.get(), nullptr), EX_ILLEGAL_ARGUMENT);
    EXPECT_EQ(support::namesIn("/dev/socket/binder"), std::vector<std::string>{});

    for (const char* name : {"test.IEcho/b", "test.IEcho/a", "test.IEcho2/c"}) {
        EXPECT_EQ(AServiceManager_addService(binder.get(), name), EX_NONE);
    }
    EXPECT_EQ(AServiceManager_addService(binder.get(), "test.IEcho/a"), EX_ILLEGAL_STATE);
    std::string found;
    AServiceManager_forEachDeclaredInstance("test.IEcho", &found, [](const char* name, void* to) {
        static_cast<std::string*>(to)->append(name).append(" ");
    });
    EXPECT_EQ(found, "a b ");
}

// A daemon looks around, forks, and serves in the child.
TEST(BinderNames, AreGivenBackByTheProcessThatRegisteredThem) {
    EXPECT_EQ(AServiceManager_checkService(kName), nullptr);
    ChildProcess daemon([] {
        const ndk::SpAIBinder binder(AIBinder_new(echoClass(), nullptr));
        if (AServiceManager_addService(binder.get(), kName) != EX_NONE) return 1;
        if (!support::exists(kSocket)) return 2;
        ::exit(0);
    });
    EXPECT_EQ(daemon.wait(), 0);
    EXPECT_FALSE(support::exists(kSocket));
}

}  // namespace
