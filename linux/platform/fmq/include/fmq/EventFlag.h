#pragma once

#include <utils/Errors.h>

#include <atomic>
#include <cstdint>

namespace android::hardware {

// Thirty-two event bits in shared memory that one process sets and another waits for.
//
// Any number of threads and processes may use flags on the same word at once. The word belongs to
// the caller, is aligned to 4 and outlives the flag; the flag is freed with deleteEventFlag.
// Functions return NO_ERROR or a negative errno.
class EventFlag {
  public:
    // Starts with whatever bits the word has. BAD_VALUE for a null pointer or an unaligned word.
    static status_t createEventFlag(std::atomic<uint32_t>* word, EventFlag** flag);
    // Frees the flag and sets `*flag` to null. BAD_VALUE when there is none.
    static status_t deleteEventFlag(EventFlag** flag);

    EventFlag(const EventFlag&) = delete;
    EventFlag& operator=(const EventFlag&) = delete;

    // Sets the bits of `bitmask` and wakes who waits for one of them. No system call when all of
    // them were set already.
    status_t wake(uint32_t bitmask);

    // Waits until a bit of `bitmask` is set, clears those and gives them in `*state` (0 on
    // failure). `timeoutNanoseconds` of 0 waits for ever. -ETIMEDOUT after the time; -EAGAIN or
    // -EINTR when woken without a bit, unless `retry` asks to go on waiting for what is left of the
    // time.
    status_t wait(uint32_t bitmask, uint32_t* state, int64_t timeoutNanoseconds = 0,
                  bool retry = false);

  private:
    explicit EventFlag(std::atomic<uint32_t>* word) : mWord(word) {}
    ~EventFlag() = default;

    std::atomic<uint32_t>* mWord;
};

}  // namespace android::hardware
