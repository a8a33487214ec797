#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// How much fits where. A call that is too large fails as a whole, and only after everything was
// copied; so the sizes are known here before anything is sent.

namespace lumctl {

// The bytes that one call may carry.
constexpr uint64_t kMaxRequest = 1024 * 1024 - 8 * 1024;

// On a device all calls under way to one process share that room: files up to this size take the
// call unless told otherwise.
constexpr uint64_t kSmallFile = uint64_t{512} * 1024;

// Through a queue a file goes as one block, which the service writes in one piece: this is the most
// that Linux writes at once.
constexpr uint64_t kMaxBlock = 0x7ffff000;

// Bytes of the request that stores `size` bytes at `path` in the call.
uint64_t writeRequestSize(std::string_view path, uint64_t size);
// Bytes of the request that hands over a command word and its parameter.
uint64_t setRequestSize(std::string_view command, std::string_view parameter);

enum class Way { kEither, kCall, kQueue };

// How many bytes a file may have that is stored at `path` by `way`.
uint64_t maxFileSize(Way way, std::string_view path);

// The way that a file takes; kEither becomes one of the two. Failure kUsage when it cannot go.
Way chooseWay(Way wanted, std::string_view path, uint64_t size);

}  // namespace lumctl
