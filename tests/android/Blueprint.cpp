#include "Blueprint.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace blueprint {
namespace {

bool isWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

class Parser {
  public:
    explicit Parser(const std::string& text) : mText(text) {}

    std::vector<Module> modules() {
        std::vector<Module> modules;
        while (!atEnd()) {
            const std::string name = word();
            if (take('=')) {
                mVariables[name] = sum();
            } else {
                modules.push_back({name, map()});
                if (!modules.back().has("name")) fail("a module has no name");
            }
        }
        return modules;
    }

  private:
    [[noreturn]] void fail(const std::string& what) const {
        const auto end = mText.begin() + static_cast<std::ptrdiff_t>(std::min(mAt, mText.size()));
        const auto line = 1 + std::count(mText.begin(), end, '\n');
        throw std::runtime_error("line " + std::to_string(line) + ": " + what);
    }

    bool startsWith(const char* what) const { return mText.compare(mAt, 2, what) == 0; }

    void skipBlanks() {
        for (;;) {
            while (mAt < mText.size() && std::isspace(static_cast<unsigned char>(mText[mAt])))
                ++mAt;
            if (startsWith("//")) {
                mAt = std::min(mText.find('\n', mAt), mText.size());
            } else if (startsWith("/*")) {
                const size_t end = mText.find("*/", mAt + 2);
                if (end == std::string::npos) fail("a comment has no end");
                mAt = end + 2;
            } else {
                return;
            }
        }
    }

    bool atEnd() {
        skipBlanks();
        return mAt == mText.size();
    }
    bool take(char c) {
        if (atEnd() || mText[mAt] != c) return false;
        ++mAt;
        return true;
    }
    void expect(char c) {
        if (!take(c)) fail(std::string("expected ") + c);
    }

    std::string word() {
        skipBlanks();
        const size_t begin = mAt;
        while (mAt < mText.size() && isWordCharacter(mText[mAt])) ++mAt;
        if (mAt == begin) fail("expected a name");
        return mText.substr(begin, mAt - begin);
    }

    std::string quoted() {
        std::string text;
        while (mAt < mText.size() && mText[mAt] != '"' && mText[mAt] != '\n') {
            if (mText[mAt] == '\\') ++mAt;
            if (mAt < mText.size()) text += mText[mAt++];
        }
        if (mAt >= mText.size() || mText[mAt++] != '"') fail("a text has no end");
        return text;
    }

    List list() {
        List values;
        while (!take(']')) {
            values.push_back(sum());
            if (take(']')) break;
            expect(',');
        }
        return values;
    }

    Map map() {
        Map properties;
        expect('{');
        while (!take('}')) {
            const std::string name = word();
            expect(':');
            if (!properties.emplace(name, sum()).second) fail(name + " is given twice");
            if (take('}')) break;
            expect(',');
        }
        return properties;
    }

    Value value() {
        if (take('"')) return {quoted()};
        if (take('[')) return {list()};
        if (!atEnd() && mText[mAt] == '{') return {map()};
        const std::string name = word();
        if (name == "true" || name == "false") return {name == "true"};
        if (std::all_of(name.begin(), name.end(), ::isdigit)) return {std::stoi(name)};
        const auto variable = mVariables.find(name);
        if (variable == mVariables.end()) fail(name + " is nothing that was given a value");
        return variable->second;
    }

    // Texts and lists can be put together.
    Value sum() {
        Value left = value();
        while (take('+')) append(&left, value());
        return left;
    }
    void append(Value* left, const Value& right) const {
        if (left->is.index() != right.is.index()) fail("two kinds of values are added");
        if (auto* text = std::get_if<std::string>(&left->is)) {
            *text += right.text();
        } else if (auto* values = std::get_if<List>(&left->is)) {
            values->insert(values->end(), right.list().begin(), right.list().end());
        } else {
            fail("neither texts nor lists are added");
        }
    }

    const std::string& mText;
    size_t mAt = 0;
    Map mVariables;
};

}  // namespace

std::vector<std::string> Value::texts() const {
    std::vector<std::string> texts;
    for (const Value& each : list()) texts.push_back(each.text());
    return texts;
}

std::vector<Module> parse(const std::string& text) {
    return Parser(text).modules();
}

}  // namespace blueprint
