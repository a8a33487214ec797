#pragma once

#include <optional>

#include "LumvndhalImpl.h"
#include "Support.h"

// What the service has to answer to get_vnd_data and set_vnd_data and to log meanwhile, told once
// more and more simply: about texts in memory.
namespace fuzz {

// The device as the input has it: what the answers depend on.
struct Device {
    enum File { kVersionFile, kSocId, kSerialNumber, kCountFile, kFiles };
    std::optional<std::string> files[kFiles];  // none: there is no such file
    bool hasCountFolder;
    std::string disable;  // the property's value
    std::string version;

    // Makes the files and sets the property.
    explicit Device(Input* input);
    // Hands over the version, and callbacks that answer as the model does and log their calls.
    void setUp(::aidl::vendor::tav::lumvndhal_aidl::LumvndhalImpl* service) const;
};

constexpr char kStatisticsFile[] = "/data/vendor/lum/shared/1503/nwstats.tmp";

struct Answer {
    std::optional<int32_t> result;  // none: left as it was, like data and size
    std::string data;
    int32_t size = 0;
    std::optional<std::string> statistics;  // what the file then holds, if it was opened
    support::LogLines log;
};

Answer modelGet(const Device& device, const std::string& cmd);
Answer modelSet(const std::string& cmd, const std::string& param);

std::vector<std::string> modelSplit(const std::string& text, const std::string& delimiter);
std::string modelEscape(const std::string& text);
// What get_chipset_serial leaves in a buffer of that capacity.
std::string modelSerial(const Device& device, size_t capacity);

}  // namespace fuzz
