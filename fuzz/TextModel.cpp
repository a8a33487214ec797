#include "TextModel.h"

#include <cutils/properties.h>
#include <unistd.h>

#include <algorithm>

namespace fuzz {
namespace {

using namespace std::string_literals;
using namespace support;

constexpr char kCountFolder[] = "/mnt/vendor/persist/lum";
constexpr char kProperty[] = "vendor.tav.lum.frc.disable";
const std::string kState = "{\"c1\": \"running\"}";

bool begins(const std::string& text, const std::string& word) {
    return text.compare(0, word.size(), word) == 0;
}
bool contains(const std::string& text, const std::string& word) {
    return text.find(word) != std::string::npos;
}

// The lines as fgets gives them, of at most `most` bytes: texts, which end at a NUL.
std::vector<std::string> linesOf(const std::string& file, size_t most) {
    std::vector<std::string> lines;
    for (size_t at = 0; at < file.size();) {
        const size_t newline = std::min(file.find('\n', at), file.size() - 1);
        const size_t length = std::min(newline + 1 - at, most);
        lines.emplace_back(file.substr(at, length).c_str());
        at += length;
    }
    return lines;
}
std::string firstLineOf(const std::string& file, size_t most) {
    const auto lines = linesOf(file, most);
    return lines.empty() ? "" : lines.front();
}

// None for what is no number of at most 2147483647.
std::optional<uint64_t> moduleOf(const std::string& digits) {
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) return {};
    const size_t first = std::min(digits.find_first_not_of('0'), digits.size() - 1);
    if (digits.size() - first > 10 || std::stoull(digits.substr(first)) > 2147483647) return {};
    return std::stoull(digits.substr(first));
}

std::string statusOf(uint64_t module) {
    std::string status;
    for (uint64_t i = 0; i < module % 2500; ++i) status += module % 2 == 0 ? "x" : "\xc3\xa9";
    return status;
}

Answer textAnswer(const std::string& data, LogLines log) {
    return {0, data, static_cast<int32_t>(data.size()), {}, std::move(log)};
}

Answer modelBuildId(const std::optional<std::string>& file) {
    if (!file) {
        return {0,
                "",
                -1,
                {},
                {info("get_build_id: /vendor/firmware_mnt/verinfo/ver_info.txt file "
                      "not exist. Use platform BuildId\n")}};
    }
    std::optional<std::string> apps;
    std::optional<std::string> meta;
    for (const std::string& line : linesOf(*file, 127)) {
        auto tokens = modelSplit(line, "\"");
        tokens.erase(std::remove(tokens.begin(), tokens.end(), ""), tokens.end());
        if (tokens.size() < 4) continue;
        if (!apps && contains(tokens[1], "apps_vendor")) {
            apps = modelEscape(tokens[3]);
        } else if (!meta && contains(tokens[1], "Meta_Build_ID")) {
            meta = modelEscape(tokens[3]);
        }
    }
    if (!apps && !meta) {
        return {0,
                "",
                -1,
                {},
                {info("get_build_id: Both APPS_ID and META_ID are not found. "
                      "Use platform BuildId\n")}};
    }
    const std::string id = (apps.value_or("N/A") + "|" + meta.value_or("N/A")).substr(0, 127);
    return textAnswer(id, {info("get_build_id data = [" + id +
                                "] data_size = " + std::to_string(id.size()) + "\n")});
}

// As atoll has it; more than it can hold is the most that it can hold.
int64_t numberIn(const std::string& text) {
    size_t at = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    const bool isNegative = text.c_str()[at] == '-';
    if (isNegative || text.c_str()[at] == '+') ++at;
    __int128 number = 0;
    const __int128 most = INT64_MAX + __int128{isNegative};
    for (; text.c_str()[at] >= '0' && text.c_str()[at] <= '9'; ++at) {
        number = std::min(number * 10 + (text[at] - '0'), most);
    }
    return static_cast<int64_t>(isNegative ? -number : number);
}

Answer modelVersion(const Device& device) {
    const std::string name = "get_factory_reset_count:";
    if (device.disable == "1") return textAnswer(device.version, {debug("FRC_DISABLE\n")});
    LogLines log = {info("FRC:"s + kProperty + " = " + device.disable), debug("FRC_ENABLE\n")};
    int64_t count = 0;
    if (!device.hasCountFolder) {
        log.push_back(info(name + "Cannot find LUM_FACTORY_RESET_COUNT_PERSIST_DIR"));
    } else if (!device.files[Device::kCountFile]) {
        log.push_back(info(name + "Cannot find LUM_FACTORY_RESET_COUNT_PERSIST_FILE"));
    } else {
        const std::string line = firstLineOf(*device.files[Device::kCountFile], 99);
        count = numberIn(line);
        log.push_back(info(name + "LUM_FACTORY_RESET_COUNT_PERSIST_FILE : " +
                           std::to_string(count) + ", " + line));
    }
    return textAnswer(device.version + "." + std::to_string(count), log);
}

Answer modelStatus(const std::string& cmd) {
    const auto pieces = modelSplit(cmd, ";");
    LogLines log = {verbose("getCampStatus, cmd="s + pieces.front().c_str() +
                            ", moduleId=" + pieces.back().c_str())};
    const auto module = moduleOf(pieces.back());
    std::string status = module ? statusOf(*module) : "invalid module";
    log.push_back(module ? verbose("status " + std::to_string(*module))
                         : error("[ERROR] moduleStr is invalid"));
    log.push_back(verbose("getCampStatus, result=" + status));
    // A text of whole characters that are two bytes long has an even length.
    if (status.size() > 2047) status.resize(status[0] == 'x' ? 2047 : 2046);
    return textAnswer(status, log);
}

void modelStatistics(const std::string& param, Answer* answer) {
    answer->result = -1;
    const bool hasFolder = exists("/data/vendor/lum/shared/1503");
    if (param.size() > 4 && !hasFolder) {
        answer->log.push_back(error("[ERROR] Can't create nwstats.tmp"));
        return;
    }
    if (param.size() > 4) {
        uint32_t length = 0;
        for (size_t i = 0; i < 4; ++i) length = length * 256 + static_cast<uint8_t>(param[i]);
        const auto shown = static_cast<int32_t>(length);
        answer->log.push_back(info("nwstats data length=" + std::to_string(shown)));
        const bool valid = shown >= 1 && param.size() - 4 == length;
        answer->statistics = valid ? param.substr(4) : "";
        if (valid) answer->result = 0;
    }
    if (answer->result != 0) answer->log.push_back(error("[ERROR] Invalid data"));
}

void modelCampaign(bool starts, const std::string& param, LogLines* log) {
    const auto fields = modelSplit(param, ";");
    log->push_back(verbose("setCampOperation, "s + fields.front().c_str() +
                           ", collectorList=" + fields.back().c_str()));
    std::string call = (starts ? "camp 1 " : "camp 0 ") + fields.front();
    for (const auto& name : modelSplit(fields.back(), ",")) call += "," + name;
    log->push_back(verbose(call.c_str()));
}

}  // namespace

std::vector<std::string> modelSplit(const std::string& text, const std::string& delimiter) {
    std::vector<std::string> pieces(1);
    for (size_t at = 0; at < text.size();) {
        if (!delimiter.empty() && begins(text.substr(at), delimiter)) {
            pieces.emplace_back();
            at += delimiter.size();
        } else {
            pieces.back() += text[at++];
        }
    }
    return pieces;
}

std::string modelEscape(const std::string& text) {
    std::string escaped;
    for (const char c : text) escaped += std::string(c == '|' || c == ':' ? 2 : 1, c);
    return escaped;
}

std::string modelSerial(const Device& device, size_t capacity) {
    std::string all;
    const auto append = [&](Device::File file, const std::string& missing) {
        std::string value = missing;
        if (device.files[file]) value = firstLineOf(*device.files[file], 127);
        all += device.files[file] && value.size() < 2 ? "-" : value;
        all.resize(std::min(all.size(), capacity - 1));
        if (!all.empty() && all.back() == '\n') all.pop_back();
    };
    append(Device::kSocId, "-");
    all += "+";
    append(Device::kSerialNumber, "000000000");
    return all;
}

Answer modelGet(const Device& device, const std::string& cmd) {
    if (begins(cmd, "BUILDID")) return modelBuildId(device.files[Device::kVersionFile]);
    if (begins(cmd, "LUMTR_VERSION")) return modelVersion(device);
    if (begins(cmd, "CHIPSET_SERIAL")) {
        return textAnswer(modelSerial(device, 2048), {info("get_chipset_serial()")});
    }
    if (contains(cmd, "statusCamp")) return modelStatus(cmd);
    if (!contains(cmd, "collectorsState")) return {};
    return textAnswer(kState,
                      {verbose("getCollectorsState, param="s + cmd.c_str()), verbose("state"),
                       debug("data_size=" + std::to_string(kState.size()))});
}

Answer modelSet(const std::string& cmd, const std::string& param) {
    Answer answer;
    answer.log = {verbose("set_vnd_data(), cmd="s + cmd.c_str() + " ")};
    if (begins(cmd, "LUMNETSTATS")) {
        modelStatistics(param, &answer);
        return answer;
    }
    const bool isCampaign = cmd == "startCamp" || cmd == "stopCamp";
    const bool starts = cmd == "startCamp" || cmd == "startModuleCamp" || cmd == "cmdOptIn";
    if (!isCampaign && !starts && cmd != "stopModuleCamp" && cmd != "cmdOptout") return answer;
    answer.log.push_back(
            verbose((isCampaign ? "setCampOperation, cmd=" : "setCampModuleOperation, cmd=") + cmd +
                    ", param=" + param.c_str()));
    const auto module = moduleOf(param);
    answer.result = param.empty() || (!isCampaign && !module) ? -1 : 0;
    if (answer.result != 0) {
        answer.log.push_back(
                error(param.empty() ? "[ERROR] param is empty" : "[ERROR] param is invalid"));
    } else if (isCampaign) {
        modelCampaign(starts, param, &answer.log);
    } else {
        answer.log.push_back(
                verbose((starts ? "module 1 " : "module 0 ") + std::to_string(*module)));
    }
    return answer;
}

Device::Device(Input* input) {
    const char* const paths[] = {"/vendor/firmware_mnt/verinfo/ver_info.txt",
                                 "/sys/devices/soc0/soc_id", "/sys/devices/soc0/serial_number",
                                 "/mnt/vendor/persist/lum/frc.dat"};
    for (size_t file = 0; file < kFiles; ++file) {
        if (input->flag()) files[file] = input->bytes(input->take<uint16_t>() % 512);
        if (files[file]) writeFile(paths[file], *files[file]);
        if (!files[file]) ::unlink(paths[file]);
    }
    hasCountFolder = files[kCountFile] || input->flag();
    if (hasCountFolder) makeDirectories(kCountFolder);
    if (!hasCountFolder) ::rmdir(kCountFolder);
    disable = input->text().substr(0, 91).c_str();
    require(property_set(kProperty, disable.c_str()) == 0, "a property can be set");
    version = input->text().c_str();
}

void Device::setUp(::aidl::vendor::tav::lumvndhal_aidl::LumvndhalImpl* service) const {
    static const auto note = [](const std::string& call) {
        __android_log_print(ANDROID_LOG_VERBOSE, "LUM:lumvndhal_aidl", "%s", call.c_str());
    };
    service->init_session_operator(
            [](uint32_t operation, std::string field, std::vector<std::string> names) {
                std::string call = "camp " + std::to_string(operation) + " " + field;
                for (const auto& name : names) call += "," + name;
                note(call);
            },
            [](uint32_t operation, uint32_t module) {
                note("module " + std::to_string(operation) + " " + std::to_string(module));
            },
            [](std::string& answer, uint32_t module) {
                note("status " + std::to_string(module));
                answer += statusOf(module);
            },
            [](std::string& answer) {
                note("state");
                answer += kState;
            });
    service->set_lumtr_version(version.c_str());
}

}  // namespace fuzz
