// The rules of ANDROID_LOG_TAGS.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Never changes once made, so all threads may ask it at the same time.
class TagFilter {
  public:
    // Reads rules "tag:letter" set apart by blanks or commas; the letter is one of v d i w e f s in
    // either case. A tag alone means v, "*" stands for all tags without a rule, "*" alone means
    // "*:d".
    explicit TagFilter(std::string_view rules);

    // The filter that the user of this process asked for, read when first needed. It outlives every
    // thread and every destructor.
    static const TagFilter& fromEnvironment();

    // The lowest priority that the rules let pass for `tag` (not null), or ANDROID_LOG_DEFAULT when
    // they do not say.
    int32_t minimumFor(const char* tag) const;

  private:
    struct Rule {
        std::string tag;
        int32_t minimum;
    };

    void addRule(std::string_view rule);

    std::vector<Rule> mRules;
    int32_t mMinimumOfOthers;
};
