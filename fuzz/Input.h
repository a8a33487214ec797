#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace fuzz {

// The bytes that a fuzzer made up, taken one value after the other. Where they end come zeros.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : mRest(reinterpret_cast<const char*>(data), size) {}

    bool isEmpty() const { return mRest.empty(); }

    std::string bytes(size_t count) {
        const std::string taken(mRest.substr(0, count));
        mRest.remove_prefix(taken.size());
        return taken;
    }
    std::string text() { return bytes(take<uint8_t>()); }

    template <typename T>
    T take() {
        T value{};
        const std::string from = bytes(sizeof(T));
        std::memcpy(&value, from.data(), from.size());
        return value;
    }
    size_t below(size_t limit) { return take<uint8_t>() % limit; }
    bool flag() { return below(2) == 1; }
    template <typename T, size_t kSize>
    T oneOf(const T (&list)[kSize]) {
        return list[below(kSize)];
    }

  private:
    std::string_view mRest;
};

}  // namespace fuzz
