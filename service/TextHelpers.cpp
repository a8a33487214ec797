#include <algorithm>

#include "LumvndhalImpl.h"

namespace aidl::vendor::tav::lumvndhal_aidl {

void LumvndhalImpl::splitDelimiter(std::string s, std::string delim,
                                   std::vector<std::string>& pieces) {
    size_t begin = 0;
    // The empty text is found everywhere: looking for it would never end.
    size_t end = delim.empty() ? std::string::npos : s.find(delim);
    while (end != std::string::npos) {
        pieces.push_back(s.substr(begin, end - begin));
        begin = end + delim.size();
        end = s.find(delim, begin);
    }
    pieces.push_back(s.substr(begin));
}

bool LumvndhalImpl::isNumber(const std::string& s) {
    // Not isdigit(): what a digit is must not depend on the locale or on the sign of char.
    return std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace aidl::vendor::tav::lumvndhal_aidl
