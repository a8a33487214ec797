// The chipset serial: what each state of the two nodes gives, in a buffer of any capacity.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "DeviceFiles.h"
#include "Files.h"
#include "ServiceUnderTest.h"

namespace {

using namespace std::string_literals;
using support::error;
using support::info;
using support::LogLines;

const std::string kNodes[] = {"/sys/devices/soc0/soc_id", "/sys/devices/soc0/serial_number"};
const LogLines kCalled = {info("get_chipset_serial()")};
const LogLines kRefused = {info("get_chipset_serial()"), error("[ERROR] Invalid Parameter")};

// Puts something at a node's path, where there is nothing.
using Node = std::function<void(const std::string&)>;
const Node kMissing = [](const std::string&) {};

Node holding(const std::string& content) {
    return [content](const std::string& path) { support::writeFile(path, content); };
}

class ChipsetSerial : public testing::Test {
  protected:
    void arrange(const Node& socId, const Node& serialNumber) {
        for (const std::string& path : kNodes) support::removeAll(path);
        socId(kNodes[0]);
        serialNumber(kNodes[1]);
    }
    std::string read(int capacity = 2048) {
        const size_t room = static_cast<size_t>(capacity);
        std::string buffer(room + 1, '~');
        const size_t before = support::openDescriptors();
        mObject->get_chipset_serial(buffer.data(), &capacity);
        EXPECT_EQ(support::openDescriptors(), before);
        EXPECT_EQ(buffer[room], '~') << "written behind the buffer's end";
        EXPECT_EQ(mLog.take(), kCalled);
        buffer.resize(buffer.find('\0'));
        EXPECT_EQ(capacity, static_cast<int>(buffer.size()));
        return buffer;
    }

    std::shared_ptr<support::LumvndhalImpl> mObject =
            ndk::SharedRefBase::make<support::LumvndhalImpl>();
    support::LogCapture mLog;
};

}  // namespace

TEST_F(ChipsetSerial, JoinsTheFirstLinesOfBothNodes) {
    const std::string x126(126, 'x');
    const std::string x127(127, 'x');
    const struct {
        std::string content, value;
    } cases[] = {
            {"457\n", "457"},
            {"457", "457"},
            {"7\n", "7"},
            {"7\nmore\n", "7"},
            {"7\r\n", "7\r"},
            {" 7 \n\n", " 7 "},
            {"\xc3\xa4\xff\n", "\xc3\xa4\xff"},
            {"45\0x\n"s, "45"},
            {x126, x126},
            {x126 + "\n", x126},
            {x127, x127},
            {x127 + "\n", x127},
            {x127 + "yz\n", x127},
            // Too short.
            {"", "-"},
            {"7", "-"},
            {"\n", "-"},
            {"\n457\n", "-"},
            {"7\0\n"s, "-"},
            {"\0"s, "-"},
    };
    for (const auto& node : cases) {
        SCOPED_TRACE(node.content);
        arrange(holding(node.content), holding("903\n"));
        EXPECT_EQ(read(), node.value + "+903");
        arrange(holding("457\n"), holding(node.content));
        EXPECT_EQ(read(), "457+" + node.value);
    }
}

TEST_F(ChipsetSerial, HasPlaceholdersForNodesThatCannotBeRead) {
    arrange(kMissing, kMissing);
    EXPECT_EQ(read(), "-+000000000");
    arrange(kMissing, holding("903\n"));
    EXPECT_EQ(read(), "-+903");
    arrange(holding("457\n"), kMissing);
    EXPECT_EQ(read(), "457+000000000");
    arrange(makeSocket, makeSocket);
    EXPECT_EQ(read(), "-+000000000");
    arrange(support::makeDirectories, support::makeDirectories);
    EXPECT_EQ(read(), "-+-");
}

TEST_F(ChipsetSerial, IsCutToTheCapacity) {
    const struct {
        Node socId, serialNumber;
        std::string whole;
    } cases[] = {
            {holding("457\n"), holding("903\n"), "457+903"},
            {holding("7\n"), holding("903"), "7+903"},
            {kMissing, kMissing, "-+000000000"},
            {holding("457"), holding(""), "457+-"},
    };
    for (const auto& nodes : cases) {
        arrange(nodes.socId, nodes.serialNumber);
        for (int capacity = 1; capacity < 15; ++capacity) {
            const std::string fits = nodes.whole.substr(0, static_cast<size_t>(capacity - 1));
            EXPECT_EQ(read(capacity), fits) << capacity;
        }
    }
}

TEST_F(ChipsetSerial, RefusesABufferThatIsNone) {
    char untouched = '~';
    for (int capacity : {0, -1, INT32_MIN}) {
        mObject->get_chipset_serial(&untouched, &capacity);
        EXPECT_EQ(capacity, 0);
        EXPECT_EQ(mLog.take(), kRefused);
    }
    int capacity = 2048;
    mObject->get_chipset_serial(nullptr, &capacity);
    EXPECT_EQ(capacity, 0);
    EXPECT_EQ(mLog.take(), kRefused);
    EXPECT_EQ(untouched, '~');
}
