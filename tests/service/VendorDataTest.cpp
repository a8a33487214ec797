// get_vnd_data and set_vnd_data from another process: answers that are long, cut or left out. What
// the words do is the corpus of fuzz/TextFuzz.cpp.
#include <gtest/gtest.h>
#include <unistd.h>

#include "Files.h"
#include "ServiceUnderTest.h"

namespace {

using namespace std::string_literals;
using aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData;

constexpr char kStatisticsFile[] = "/data/vendor/lum/shared/1503/nwstats.tmp";
const std::string kCharacters[] = {"x",    "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80",
                                   "\x80", "\0"s};
constexpr uint32_t kSecond = 1000000;

// Of `size` bytes, all whole characters.
std::string textOf(const std::string& character, size_t size) {
    std::string text(size % character.size(), '.');
    while (text.size() < size) text += character;
    return text;
}
// The status of module 2047 has 2047 bytes, that of 1002047 as many in characters of two bytes, ...
void onStatus(std::string& answer, uint32_t module) {
    answer = textOf(kCharacters[module / kSecond], module % kSecond);
}
void prepare(support::LumvndhalImpl& object) {
    object.init_session_operator(nullptr, nullptr, onStatus, [](std::string& answer) {
        answer = textOf(kCharacters[2], 100000);
    });
}

class VendorData : public testing::Test {
  protected:
    static void expectReply(support::ILumvndhal* service, const std::string& cmd,
                            const std::string& data, int32_t size) {
        LumvndhalGenericData reply = {};
        int32_t result = -1;
        ASSERT_TRUE(service->get_vnd_data(cmd, &reply, &result).isOk()) << cmd;
        EXPECT_EQ(result, 0);
        EXPECT_EQ(reply.data, data);
        EXPECT_EQ(reply.data_size, size);
    }
    void expectData(const std::string& cmd, const std::string& data) {
        expectReply(mService.operator->(), cmd, data, static_cast<int32_t>(data.size()));
    }
    int32_t set(const std::string& cmd, const std::string& param) {
        int32_t result = 17;
        EXPECT_TRUE(mService->set_vnd_data(cmd, param, &result).isOk());
        return result;
    }

    support::ServiceUnderTest mService{support::From::kOtherProcess, prepare};
};

TEST_F(VendorData, CampaignStatusIsCutBeforeTheCharacterThatDoesNotFit) {
    for (const uint32_t width : {1U, 2U, 3U, 4U}) {
        const uint32_t kind = (width - 1) * kSecond;
        for (const uint32_t size : {2046U, 2047U, 2048U, 2049U, 2050U, 2051U, 100000U}) {
            const std::string whole = textOf(kCharacters[width - 1], size);
            size_t end = size;
            while (end > 2047) end -= width;
            expectData("statusCamp;" + std::to_string(kind + size), whole.substr(0, end));
        }
    }
    // The operator should not write a NUL; the size still tells what it wrote.
    expectReply(mService.operator->(), "statusCamp;5000004", "", 4);
    // What is no text does not travel.
    support::ServiceUnderTest here{support::From::kSameProcess, prepare};
    expectReply(here.operator->(), "statusCamp;4002048", std::string(2047, '\x80'), 2047);
}

TEST_F(VendorData, CollectorsStateIsOfAnyLengthAndWhatIsNotAnsweredIsEmpty) {
    expectData("get collectorsState;3", textOf(kCharacters[2], 100000));
    expectData(std::string(100000, 'x'), "");
    EXPECT_EQ(set("unknown", "1"), 0);
}

TEST_F(VendorData, StatisticsAreStoredAndAnsweredWithSuccessEvenWhenTheyCannotBeWritten) {
    const size_t descriptors = support::openDescriptors(mService.process());
    const std::string content(65536, 'x');
    support::writeFile(kStatisticsFile, "before");
    EXPECT_EQ(set("LUMNETSTATS", "\0\1\0\0"s + content), 0);
    EXPECT_EQ(support::readFile(kStatisticsFile), content);
    support::removeAll(kStatisticsFile);
    ASSERT_EQ(::symlink("/dev/full", kStatisticsFile), 0);
    EXPECT_EQ(set("LUMNETSTATS", "\0\0\0\3abc"s), 0);
    EXPECT_EQ(support::openDescriptors(mService.process()), descriptors);
}

}  // namespace
