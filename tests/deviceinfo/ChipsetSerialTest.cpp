// The chipset serial: what each state of the two nodes gives, in a buffer of any capacity.
#include "DeviceFacts.h"

namespace {

using namespace std::string_literals;
using support::error;
using support::info;

const std::string kSocId = "/sys/devices/soc0/soc_id";
const std::string kSerialNumber = "/sys/devices/soc0/serial_number";

class ChipsetSerial : public DeviceFacts {
  protected:
    void SetUp() override { removeNodes(); }
    static void removeNodes() {
        support::removeAll(kSocId);
        support::removeAll(kSerialNumber);
    }
    void expect(const std::string& serial, int capacity = 2048) {
        const size_t room = static_cast<size_t>(capacity);
        const std::string guard = "~\n";  // whoever cuts a newline there is noticed
        std::string buffer = std::string(room, '~') + guard;
        expectLines({info("get_chipset_serial()")},
                    [&] { mObject->get_chipset_serial(buffer.data(), &capacity); });
        EXPECT_EQ(buffer.substr(room), guard) << "written behind the buffer's end";
        EXPECT_EQ(buffer.substr(0, buffer.find('\0')), serial);
        EXPECT_EQ(capacity, static_cast<int>(serial.size()));
    }
};

}  // namespace

TEST_F(ChipsetSerial, JoinsTheFirstLinesOfBothNodes) {
    const std::string x127(127, 'x');
    const std::pair<std::string, std::string> nodes[] = {
            {"%s%n%d\n", "%s%n%d"},
            {"457\n", "457"},
            {"7\n", "7"},
            {"7\r\n", "7\r"},
            {" \xff \n\n", " \xff "},
            {"45\0x\n"s, "45"},
            {x127.substr(1) + "\n", x127.substr(1)},
            {x127 + "\n", x127},
            {x127 + "yz\n", x127},
            {"7", "-"},  // too short, as those below
            {"\n457\n", "-"},
            {"7\0\n"s, "-"},
    };
    for (const auto& [content, value] : nodes) {
        SCOPED_TRACE(content);
        support::writeFile(kSocId, content);
        support::writeFile(kSerialNumber, "903\n");
        expect(value + "+903");
        support::writeFile(kSocId, "457\n");
        support::writeFile(kSerialNumber, content);
        expect("457+" + value);
    }
}

TEST_F(ChipsetSerial, HasPlaceholdersForNodesThatCannotBeRead) {
    support::writeFile(kSerialNumber, "903\n");
    expect("-+903");
    removeNodes();
    makeSocket(kSocId);
    makeSocket(kSerialNumber);
    expect("-+000000000");
    removeNodes();
    support::makeDirectories(kSocId);
    support::makeDirectories(kSerialNumber);
    expect("-+-");
}

TEST_F(ChipsetSerial, IsCutToTheCapacity) {
    const auto expectCuts = [this](const std::string& whole) {
        for (int capacity = 1; capacity < 15; ++capacity) {
            expect(whole.substr(0, static_cast<size_t>(capacity - 1)), capacity);
        }
    };
    expectCuts("-+000000000");
    support::writeFile(kSocId, "457\n");
    support::writeFile(kSerialNumber, "903\n");
    expectCuts("457+903");
    support::writeFile(kSerialNumber, "");
    expectCuts("457+-");
}

TEST_F(ChipsetSerial, RefusesABufferThatIsNone) {
    char untouched = '~';
    const std::pair<char*, int> buffers[] = {
            {&untouched, 0}, {&untouched, -1}, {&untouched, INT32_MIN}, {nullptr, 2048}};
    for (auto [buffer, capacity] : buffers) {
        expectLines({info("get_chipset_serial()"), error("[ERROR] Invalid Parameter")},
                    [&, out = buffer] { mObject->get_chipset_serial(out, &capacity); });
        EXPECT_EQ(capacity, 0);
    }
    EXPECT_EQ(untouched, '~');
}
