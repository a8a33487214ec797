// What travels between a client and a service on Linux, and every limit that holds there: the one
// place for both ends, the tests, the fuzzers and the benchmarks. ../../README.md tells how an
// exchange goes.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace standin {

// --- Frames.

// What travels in front of every parcel. Both ends run on one machine: its own byte order.
struct FrameHeader {
    uint32_t magic;
    uint32_t size;             // of the parcel, in bytes
    int32_t word;              // request: transaction code; greeting and reply: binder_status_t
    uint32_t descriptorCount;  // that travel with the frame
};
static_assert(sizeof(FrameHeader) == 16);

constexpr uint32_t kMagic = 0x52444e42;  // "BNDR"

// Tells one start of a service from all others. Random, so that a client never takes a successor at
// the same path for the service that it knew.
using Generation = int64_t;

// The service speaks first: this to a caller that it admits, with the word STATUS_OK; a header
// alone to one that it turns away, with STATUS_WOULD_BLOCK.
struct Greeting {
    FrameHeader header;
    Generation generation;
};
static_assert(sizeof(Greeting) == 24);

// Codes that every binder answers by itself, as on a device.
constexpr uint32_t kPingCode = 0x5f504e47;       // "_PNG"
constexpr uint32_t kInterfaceCode = 0x5f4e5446;  // "_NTF": which interface it is of
// Taken without effect, and answered with nothing.
constexpr uint32_t kDumpCode = 0x5f444d50;               // "_DMP"
constexpr uint32_t kPropertiesChangedCode = 0x5f535052;  // "_SPR"
constexpr uint32_t kExtensionCode = 0x5f455854;          // "_EXT"
constexpr uint32_t kProcessCode = 0x5f504944;            // "_PID"
// Refused: no local object has a shell.
constexpr uint32_t kShellCommandCode = 0x5f434d44;  // "_CMD"

// --- What a frame may hold.

// A device's binder driver maps so much for a process: 1 MiB less two pages. Here it holds for each
// call by itself, so whatever passes on a device passes here.
constexpr size_t kMaxParcelSize = 1024 * 1024 - 8 * 1024;

// A queue needs one or two. All callers together (kMaxCallers) then hold no more than 32768, which
// leaves room below the kernel's usual hard limit; the kernel itself takes 253 in one message.
constexpr size_t kMaxDescriptors = 32;

// --- What one peer can take from the others.

// For a frame that has begun to arrive, a reply that waits to be read, a greeting that is waited
// for, and calls under way when the service ends. A peer that was merely stopped or swapped out for
// a moment gets through; one that does nothing holds a thread no longer than people wait.
constexpr std::chrono::seconds kPatience{5};

// A caller costs the service a thread and a descriptor. A thousand idle ones take some 14 MiB; one
// user gets half of them and one process half of that, so that a client that leaks connections, or
// means harm, leaves room for others.
constexpr size_t kMaxCallers = 1024;
constexpr size_t kMaxCallersOfAUser = kMaxCallers / 2;
constexpr size_t kMaxCallersOfAProcess = kMaxCallersOfAUser / 2;

// Connections of one proxy, and so its calls at once; further calls wait in the client. Half of the
// threads that a host may ask for, and an eighth of what the service admits from a process, which
// leaves room for several proxies in one.
constexpr size_t kMaxConnections = 32;

// Connections that the kernel keeps until the service comes to admit them. More wait in connect().
constexpr int kBacklog = 128;

// --- Registration.

// For the lock of the directory of endpoints, which anybody who may read it can take, and for what
// is at the endpoint already to show that it lives.
constexpr std::chrono::seconds kLockTime{2};
constexpr std::chrono::seconds kProbeTime{1};

// --- Memory.

// A connection begins with a buffer of a page, which nearly every frame fits in, and grows it with
// what arrives, not with what is announced. Buffers of up to 128 KiB are kept for the next frame,
// larger ones given back: a caller that is idle costs little.
constexpr size_t kFirstBuffer = 4096;
constexpr size_t kKeptBuffer = size_t{128} * 1024;

// --- Names.

// A socket's address has 107 characters: "/proc/self/fd/", a descriptor of four digits, a slash,
// and the instance's name.
constexpr size_t kMaxNameLength = 88;

}  // namespace standin
