#pragma once

#include <string>
#include <vector>

namespace lumctl {

// " (did you mean 'ping'?)" for the candidate that is nearest to a mistyped word, or nothing when
// none is near.
std::string suggestion(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace lumctl
