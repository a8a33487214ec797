#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Failure.h"
#include "Limits.h"

// The texts that the service takes as parameters. What cannot be packed so that it arrives as it
// was meant is a Failure kUsage that gives the reason.

namespace lumctl {

// Refuses a text that would not survive the way; `what` names it to the person.
void requireText(std::string_view what, std::string_view text);

// Refuses a dropbox path that a client cannot mean: not a text, without a slash in front, which the
// service joins to the root's own name, or too long for any file system. Whether the path is
// allowed is the service's to say.
void requirePath(std::string_view path);

// "KEY;c1,c2", the parameter of startCamp and stopCamp.
std::string packCampaign(const std::string& key, const std::vector<std::string>& collectors);

// "statusCamp;N". `module` is not looked at beyond what keeps it one field.
std::string packModuleQuery(const std::string& module);

// No payload of more bytes fits into a call: what takes most bytes for its share of UTF-16 is a
// character of three.
constexpr uint64_t kMaxStatistics = kMaxRequest / 2 * 3;
Failure tooManyStatistics(uint64_t size);

// The network-statistics block: 4 bytes of length, most significant first, then the payload. It
// travels as a text, so the block as a whole must be valid UTF-8 and fit into a call.
std::string packStatistics(std::string_view payload);

}  // namespace lumctl
