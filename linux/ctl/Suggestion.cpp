#include "Suggestion.h"

#include <algorithm>
#include <numeric>

#include "Text.h"

namespace lumctl {
namespace {

// Characters to insert, remove, replace or exchange with their neighbour to make `a` of `b`.
size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::vector<size_t>> table(a.size() + 1, std::vector<size_t>(b.size() + 1));
    std::iota(table[0].begin(), table[0].end(), 0);
    for (size_t i = 1; i <= a.size(); ++i) {
        table[i][0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t changed = a[i - 1] == b[j - 1] ? 0 : 1;
            table[i][j] = std::min(
                    {table[i - 1][j] + 1, table[i][j - 1] + 1, table[i - 1][j - 1] + changed});
            const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (swapped) table[i][j] = std::min(table[i][j], table[i - 2][j - 2] + 1);
        }
    }
    return table[a.size()][b.size()];
}

}  // namespace

std::string suggestion(const std::string& word, const std::vector<std::string>& candidates) {
    constexpr size_t kLongestWord = 64;
    const std::string* nearest = nullptr;
    size_t least = std::clamp<size_t>(word.size() / 3, 1, 2) + 1;
    for (const std::string& candidate : candidates) {
        const size_t away = word.size() > kLongestWord ? least : distance(word, candidate);
        if (away >= least) continue;
        least = away;
        nearest = &candidate;
    }
    return nearest == nullptr ? "" : " (did you mean " + inQuotes(*nearest) + "?)";
}

}  // namespace lumctl
