// Buffers that cannot be had. This program has its own `new (std::nothrow) T[n]`, since reality
// does not refuse a few bytes on demand.
#include <gtest/gtest.h>

#include <new>

#include "Files.h"
#include "ServiceUnderTest.h"

namespace {

using support::info;
using support::LogLines;
using support::LumvndhalImpl;
using support::verbose;

int gSuccessesLeft = -1;  // before one allocation fails; negative: none does

}  // namespace

// The library's calls come here too: a program's replacement holds for all that it loads.
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    if (gSuccessesLeft >= 0 && gSuccessesLeft-- == 0) return nullptr;
    return ::operator new[](size);
}

TEST(NoMemory, LeavesTheBuildIdAsItWas) {
    support::writeFile("/vendor/firmware_mnt/verinfo/ver_info.txt",
                       " \"Meta_Build_ID\": \"M\"\n \"apps_vendor\": \"A\"\n");
    const auto object = ndk::SharedRefBase::make<LumvndhalImpl>();
    support::LogCapture log;
    const size_t before = support::openDescriptors();
    for (int successes : {0, 1}) {
        gSuccessesLeft = successes;
        char out[128] = "before";
        int length = -1;
        object->get_build_id(out, &length);
        EXPECT_STREQ(out, "before");
        EXPECT_EQ(length, -1);
        EXPECT_EQ(log.take(), LogLines{info(successes == 0 ? "get_build_id: malloc failed\n"
                                                           : "get_build_id: malloc fail\n")});
    }
    EXPECT_EQ(support::openDescriptors(), before);
}

TEST(NoMemory, MakesTheCollectorsStateUnknown) {
    for (const auto from : {support::From::kSameProcess, support::From::kOtherProcess}) {
        support::ServiceUnderTest service(from, [](LumvndhalImpl& object) {
            object.init_session_operator(nullptr, nullptr, nullptr,
                                         [](std::string& answer) { answer = "state"; });
            gSuccessesLeft = 0;
        });
        service.takeLog();
        aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData reply;
        int32_t result = -1;
        ASSERT_TRUE(service->get_vnd_data("collectorsState", &reply, &result).isOk());
        EXPECT_EQ(result, 0);
        EXPECT_EQ(reply.data, "UNKNOWN");
        EXPECT_EQ(reply.data_size, 7);
        EXPECT_EQ(service.takeLog(),
                  LogLines{verbose("getCollectorsState, param=collectorsState")});
        service->get_vnd_data("collectorsState", &reply, &result);
        EXPECT_EQ(reply.data, "state");
    }
}
