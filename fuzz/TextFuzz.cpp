// Texts of any bytes as files, properties and commands: the service's readers and its command
// words, called on the object itself, answer and log as the model does.
#include "TextModel.h"

namespace {

using namespace fuzz;
using ::aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData;
using ::aidl::vendor::tav::lumvndhal_aidl::LumvndhalImpl;

support::LogCapture* gLog;

void get(LumvndhalImpl* service, const Device& device, const std::string& cmd) {
    LumvndhalGenericData reply = {};
    reply.data = "own";
    int32_t result = 17;
    require(service->get_vnd_data(cmd, &reply, &result).isOk(), "the status is OK");
    const Answer answer = modelGet(device, cmd);
    requireLog(gLog->take(), answer.log);
    require(result == answer.result.value_or(17), "the result");
    require(reply.data == (answer.result ? answer.data : "own"), "the data: " + reply.data);
    require(reply.data_size == answer.size, "the size");
}

void set(LumvndhalImpl* service, const std::string& cmd, const std::string& param) {
    const Answer answer = modelSet(cmd, param);
    int32_t result = 17;
    require(service->set_vnd_data(cmd, param, &result).isOk(), "the status is OK");
    requireLog(gLog->take(), answer.log);
    require(result == answer.result.value_or(17), "the result");
    if (!answer.statistics) return;
    require(support::readFile(kStatisticsFile) == *answer.statistics, "the statistics");
}

// In memory of just the size, so that a byte too many is noticed.
void readSerial(LumvndhalImpl* service, const Device& device, size_t capacity) {
    std::vector<char> out(capacity, 'x');
    int length = static_cast<int>(capacity);
    service->get_chipset_serial(capacity == 0 ? nullptr : out.data(), &length);
    gLog->take();
    const std::string expected = capacity == 0 ? "" : modelSerial(device, capacity);
    require(length == static_cast<int>(expected.size()), "the length of the serial number");
    require(capacity == 0 || out.data() == expected, "the serial number");
}

void cut(LumvndhalImpl* service, std::string text, const std::string& delimiter) {
    std::vector<std::string> pieces = {"first"};
    service->splitDelimiter(text, delimiter, pieces);
    std::vector<std::string> expected = modelSplit(text, delimiter);
    expected.insert(expected.begin(), "first");
    require(pieces == expected, "the pieces");
    require(service->isNumber(text) == (text.find_first_not_of("0123456789") == std::string::npos),
            "whether it is a number");
    const std::string escaped = modelEscape(text.c_str());
    std::vector<char> out(2 * std::strlen(text.c_str()) + 1);
    require(service->escapeColonAndBar(out.data(), text.data()) == 0 && out.data() == escaped,
            "the escaped text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static support::LogCapture log;
    gLog = &log;
    Input input(data, size);
    const Device device(&input);
    resetDropbox();
    const Watch watch;
    const auto service = ndk::SharedRefBase::make<LumvndhalImpl>();
    device.setUp(service.get());
    log.take();
    while (!input.isEmpty()) {
        const size_t choice = input.below(5);
        const std::string text = input.text();
        if (choice == 0) get(service.get(), device, text);
        if (choice == 1) set(service.get(), text, input.text());
        if (choice == 2) readSerial(service.get(), device, text.size());
        if (choice == 3) cut(service.get(), text, input.text().substr(0, 2));
        if (choice == 4) support::removeAll("/data/vendor/lum/shared");
    }
    return 0;
}
