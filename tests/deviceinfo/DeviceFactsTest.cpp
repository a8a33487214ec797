// What the device's facts make of files that cannot be read, of buffers and of null pointers. What
// they make of texts is the corpus of fuzz/TextFuzz.cpp.
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>

#include "Files.h"
#include "ServiceUnderTest.h"

namespace {

using namespace std::string_literals;
using namespace support;

constexpr char kVersionFile[] = "/vendor/firmware_mnt/verinfo/ver_info.txt";
constexpr char kSocId[] = "/sys/devices/soc0/soc_id";
constexpr char kSerialNumber[] = "/sys/devices/soc0/serial_number";
constexpr char kCountFile[] = "/mnt/vendor/persist/lum/frc.dat";
const LogLine kSerialAsked = info("get_chipset_serial()");

constexpr const char* kFiles[] = {kVersionFile, kSocId, kSerialNumber, kCountFile};

class DeviceFacts : public testing::Test {
  protected:
    void SetUp() override {
        for (const char* path : kFiles) writeFile(path, "");
    }
    void TearDown() override { EXPECT_EQ(openDescriptors(), mDescriptors); }

    void expectBuildId(const std::string& identifier, const LogLine& line) {
        std::string buffer(129, '~');
        int length = -1;
        mObject->get_build_id(buffer.data(), &length);
        EXPECT_EQ(buffer[128], '~') << "written behind the buffer's end";
        EXPECT_EQ(buffer.substr(0, buffer.find(identifier.empty() ? '~' : '\0')), identifier);
        EXPECT_EQ(length, identifier.empty() ? -1 : static_cast<int>(identifier.size()));
        EXPECT_EQ(mLog.take(), LogLines{line});
    }
    void expectSerial(const std::string& serial, int capacity = 2048) {
        const size_t room = static_cast<size_t>(capacity);
        const std::string guard = "~\n";  // whoever cuts a newline there is noticed
        std::string buffer = std::string(room, '~') + guard;
        mObject->get_chipset_serial(buffer.data(), &capacity);
        EXPECT_EQ(buffer.substr(room), guard) << "written behind the buffer's end";
        EXPECT_EQ(buffer.substr(0, buffer.find('\0')), serial);
        EXPECT_EQ(capacity, static_cast<int>(serial.size()));
        EXPECT_EQ(mLog.take(), LogLines{kSerialAsked});
    }

    std::shared_ptr<LumvndhalImpl> mObject = ndk::SharedRefBase::make<LumvndhalImpl>();
    LogCapture mLog;
    const size_t mDescriptors = openDescriptors();
};

TEST_F(DeviceFacts, AreMissingWhereAFileCannotBeOpenedAndEmptyWhereItCannotBeRead) {
    for (const char* path : kFiles) {  // sockets, which not even the superuser can open
        removeAll(path);
        ASSERT_EQ(::mknod(path, S_IFSOCK | 0600, 0), 0);
    }
    expectBuildId(
            "", info("get_build_id: "s + kVersionFile + " file not exist. Use platform BuildId\n"));
    expectSerial("-+000000000");
    const std::string count = "get_factory_reset_count:";
    EXPECT_EQ(mObject->get_factory_reset_count(), 0);
    EXPECT_EQ(mLog.take(),
              LogLines{error(count + "Could not open LUM_FACTORY_RESET_COUNT_PERSIST_FILE")});
    for (const char* path : kFiles) {
        removeAll(path);
        makeDirectories(path);
    }
    expectBuildId("", info("get_build_id: Both APPS_ID and META_ID are not found. "
                           "Use platform BuildId\n"));
    expectSerial("-+-");
    EXPECT_EQ(mObject->get_factory_reset_count(), 0);
    EXPECT_EQ(mLog.take(), LogLines{info(count + "LUM_FACTORY_RESET_COUNT_PERSIST_FILE : 0, ")});
}

TEST_F(DeviceFacts, StayWithinTheirBuffers) {
    const std::string colons(52, ':');
    writeFile(kVersionFile,
              " \"apps_vendor\": \"" + colons + "\"\n \"Meta_Build_ID\": \"" + colons + "\"\n");
    const std::string identifier = colons + colons + "|" + std::string(22, ':');
    expectBuildId(identifier, info("get_build_id data = [" + identifier + "] data_size = 127\n"));
    for (const std::string whole : {"457+903", "457+-"}) {
        writeFile(kSocId, "457\n");
        writeFile(kSerialNumber, whole.substr(4).size() > 1 ? "903\n" : "");
        for (int capacity = 1; capacity < 10; ++capacity) {
            expectSerial(whole.substr(0, static_cast<size_t>(capacity - 1)), capacity);
        }
    }
    const std::string longest(127, '8');
    writeFile(kSocId, longest + "7");
    writeFile(kSerialNumber, longest);
    expectSerial(longest + "+" + longest);
}

TEST_F(DeviceFacts, RefuseBuffersThatAreNone) {
    char untouched[] = "~";
    const std::pair<char*, int> buffers[] = {
            {untouched, 0}, {untouched, -1}, {untouched, INT32_MIN}, {nullptr, 2048}};
    for (auto [buffer, capacity] : buffers) {
        mObject->get_chipset_serial(buffer, &capacity);
        EXPECT_EQ(capacity, 0);
        EXPECT_EQ(mLog.take(), (LogLines{kSerialAsked, error("[ERROR] Invalid Parameter")}));
    }
    EXPECT_EQ(mObject->escapeColonAndBar(nullptr, untouched), 1);
    EXPECT_EQ(mObject->escapeColonAndBar(untouched, nullptr), 1);
    EXPECT_STREQ(untouched, "~");
}

TEST_F(DeviceFacts, PropertyCountsWhenItsValueIsTheWholeOfWhatIsExpected) {
    const std::string longest(PROPERTY_VALUE_MAX - 1, '1');
    ASSERT_EQ(property_set("key", longest.c_str()), 0);
    EXPECT_TRUE(mObject->check_property_value("key", longest.c_str()));
    EXPECT_FALSE(mObject->check_property_value("key", (longest + "1").c_str()));
    EXPECT_FALSE(mObject->check_property_value("unset", ""));
    EXPECT_EQ(mLog.take(), (LogLines{info("FRC:key = " + longest), info("FRC:unset = ")}));
}

}  // namespace
