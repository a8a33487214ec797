#include <fmq/EventFlag.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <ctime>
#include <new>

namespace android::hardware {

namespace {

constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;

// Not the private kind: the waiter and the waker are different processes.
int futex(std::atomic<uint32_t>* word, int operation, uint32_t value, const timespec* deadline,
          uint32_t bitmask) {
    const long result = syscall(SYS_futex, word, operation, value, deadline, nullptr, bitmask);
    return result < 0 ? -errno : 0;
}

// The kernel wants an absolute time, which also makes a repeated wait end when the first would
// have.
timespec deadlineAfter(int64_t nanoseconds) {
    nanoseconds = std::max<int64_t>(nanoseconds, 0);
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t sum = now.tv_nsec + nanoseconds % kNanosecondsPerSecond;
    now.tv_sec += nanoseconds / kNanosecondsPerSecond + sum / kNanosecondsPerSecond;
    now.tv_nsec = sum % kNanosecondsPerSecond;
    return now;
}

status_t waitOnce(std::atomic<uint32_t>* word, uint32_t bitmask, uint32_t* state,
                  const timespec* deadline) {
    const uint32_t before = word->fetch_and(~bitmask);
    *state = before & bitmask;
    if (*state != 0) return NO_ERROR;
    const int result = futex(word, FUTEX_WAIT_BITSET, before, deadline, bitmask);
    if (result != 0) return result;
    *state = word->fetch_and(~bitmask) & bitmask;
    return *state != 0 ? NO_ERROR : -EAGAIN;
}

}  // namespace

status_t EventFlag::createEventFlag(std::atomic<uint32_t>* word, EventFlag** flag) {
    if (flag == nullptr) return BAD_VALUE;
    *flag = nullptr;
    const bool aligned = reinterpret_cast<uintptr_t>(word) % alignof(std::atomic<uint32_t>) == 0;
    if (word == nullptr || !aligned) return BAD_VALUE;
    *flag = new (std::nothrow) EventFlag(word);
    return *flag != nullptr ? NO_ERROR : NO_MEMORY;
}

status_t EventFlag::deleteEventFlag(EventFlag** flag) {
    if (flag == nullptr || *flag == nullptr) return BAD_VALUE;
    delete *flag;
    *flag = nullptr;
    return NO_ERROR;
}

status_t EventFlag::wake(uint32_t bitmask) {
    const uint32_t before = mWord->fetch_or(bitmask);
    if ((~before & bitmask) == 0) return NO_ERROR;
    return futex(mWord, FUTEX_WAKE_BITSET, INT_MAX, nullptr, bitmask);
}

status_t EventFlag::wait(uint32_t bitmask, uint32_t* state, int64_t timeoutNanoseconds,
                         bool retry) {
    if (bitmask == 0 || state == nullptr) return BAD_VALUE;
    const bool forever = timeoutNanoseconds == 0;
    const timespec deadline = forever ? timespec{} : deadlineAfter(timeoutNanoseconds);
    for (;;) {
        const status_t status = waitOnce(mWord, bitmask, state, forever ? nullptr : &deadline);
        if (!retry || (status != -EAGAIN && status != -EINTR)) return status;
    }
}

}  // namespace android::hardware
