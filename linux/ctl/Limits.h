#pragma once

#include <cstdint>
#include <string_view>

#include "linux/platform/binder/Wire.h"

// How much fits where. A call that is too large fails as a whole, and only after everything was
// copied; so the sizes are known here before anything is sent.

namespace lumctl {

// The bytes that one call may carry.
constexpr uint64_t kMaxRequest = ::standin::kMaxParcelSize;

// On a device all calls under way to one process share that room: files up to this size take the
// call unless told otherwise.
constexpr uint64_t kSmallFile = uint64_t{512} * 1024;

// Through a queue a file goes as one block. This is the longest ring that the queue class makes:
// the offset of what it puts behind the ring has to fit into 31 bits, as has the count of a
// request, and a page of at most 64 KiB lies before it.
constexpr uint64_t kMaxBlock = 0x7fffffff - 0x10000 - 64;

// Bytes of the request that hands over a command word and its parameter.
uint64_t setRequestSize(std::string_view command, std::string_view parameter);

// How the bytes of a file reach the service.
enum class Transport { kEither, kCall, kQueue };

// How many bytes a file may have that is stored at `path` by `transport`.
uint64_t maxFileSize(Transport transport, std::string_view path);

// The transport that a file takes; kEither becomes one of the two. Failure kUsage when it fits
// neither.
Transport chooseTransport(Transport wanted, std::string_view path, uint64_t size);

}  // namespace lumctl
