// Buffers and objects for which memory lacks. This program has its own `new (std::nothrow)`, since
// reality does not refuse a few bytes on demand.
#include <gtest/gtest.h>

#include <new>

#include "Files.h"
#include "ServiceUnderTest.h"

namespace {

using support::error;
using support::info;
using support::LogLines;
using support::LumvndhalImpl;
using support::verbose;

int gSuccessesLeft = -1;  // before one allocation fails; negative: none does

}  // namespace

// The library's calls come here too: a program's replacement holds for all that it loads.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return gSuccessesLeft >= 0 && gSuccessesLeft-- == 0 ? nullptr : ::operator new(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return gSuccessesLeft >= 0 && gSuccessesLeft-- == 0 ? nullptr : ::operator new[](size);
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
    const auto object = ndk::SharedRefBase::make<LumvndhalImpl>();
    object->init_session_operator(nullptr, nullptr, nullptr,
                                  [](std::string& answer) { answer = "state"; });
    support::LogCapture log;
    aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData reply;
    int32_t result = -1;
    gSuccessesLeft = 0;
    ASSERT_TRUE(object->get_vnd_data("collectorsState", &reply, &result).isOk());
    EXPECT_EQ(result, 0);
    EXPECT_EQ(reply.data, "UNKNOWN");
    EXPECT_EQ(reply.data_size, 7);
    EXPECT_EQ(log.take(), LogLines{verbose("getCollectorsState, param=collectorsState")});
}

TEST(NoMemory, LeavesTheServiceWithoutAQueue) {
    const auto object = ndk::SharedRefBase::make<LumvndhalImpl>();
    LumvndhalImpl::ByteQueue queue(10);
    bool attached = false;
    object->configure(queue.dupeDesc(), &attached);
    ASSERT_TRUE(attached);
    support::LogCapture log;
    gSuccessesLeft = 0;
    ASSERT_TRUE(object->configure(queue.dupeDesc(), &attached).isOk());
    EXPECT_FALSE(attached);
    object->request_read("/f", 1, &attached);
    EXPECT_EQ(log.take(), (LogLines{error("[ERROR] mFmqSync is nullptr or invalid"),
                                    error("[ERROR] fmq not initialized")}));
}
