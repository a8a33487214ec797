#include "TagFilter.h"

#include <android/log.h>

#include <cstdlib>

namespace {

constexpr std::string_view kSeparators = " \t\n,";
constexpr std::string_view kLetters = "vdiwefs";  // from ANDROID_LOG_VERBOSE to ANDROID_LOG_SILENT

// The priority of a letter, or ANDROID_LOG_UNKNOWN when the text is anything else.
int32_t priorityOf(std::string_view text) {
    if (text.size() != 1) return ANDROID_LOG_UNKNOWN;
    const char lower = text[0] >= 'A' && text[0] <= 'Z' ? static_cast<char>(text[0] + 32) : text[0];
    const size_t position = kLetters.find(lower);
    if (position == std::string_view::npos) return ANDROID_LOG_UNKNOWN;
    return ANDROID_LOG_VERBOSE + static_cast<int32_t>(position);
}

}  // namespace

TagFilter::TagFilter(std::string_view rules) : mMinimumOfOthers(ANDROID_LOG_DEFAULT) {
    size_t start = rules.find_first_not_of(kSeparators);
    while (start != std::string_view::npos) {
        const size_t end = rules.find_first_of(kSeparators, start);
        addRule(rules.substr(start, end - start));
        start = rules.find_first_not_of(kSeparators, end);
    }
}

// A tag may hold colons of its own ("LUM:lumvndhal_aidl"), so only the last colon can begin the
// priority, and only where a priority follows it.
void TagFilter::addRule(std::string_view rule) {
    const size_t colon = rule.rfind(':');
    const bool hasColon = colon != std::string_view::npos;
    int32_t minimum = hasColon ? priorityOf(rule.substr(colon + 1)) : ANDROID_LOG_UNKNOWN;
    std::string_view tag = rule;
    if (minimum != ANDROID_LOG_UNKNOWN) tag = rule.substr(0, colon);
    const bool forOthers = tag == "*";
    if (minimum == ANDROID_LOG_UNKNOWN)
        minimum = forOthers ? ANDROID_LOG_DEBUG : ANDROID_LOG_VERBOSE;

    if (forOthers) {
        mMinimumOfOthers = minimum;
    } else {
        mRules.insert(mRules.begin(), Rule{std::string(tag), minimum});
    }
}

const TagFilter& TagFilter::fromEnvironment() {
    static const TagFilter& filter = []() -> const TagFilter& {
        const char* rules = getenv("ANDROID_LOG_TAGS");
        return *new TagFilter(rules == nullptr ? ""
                                               : rules);  // never freed: threads outlive exit()
    }();
    return filter;
}

int32_t TagFilter::minimumFor(const char* tag) const {
    for (const Rule& rule : mRules) {
        if (rule.tag == tag) return rule.minimum;
    }
    return mMinimumOfOthers;
}
