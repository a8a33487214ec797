#include "Transfer.h"

#include <fcntl.h>
#include <fmq/AidlMessageQueue.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

#include "Failure.h"
#include "Progress.h"
#include "Text.h"

namespace lumctl {
namespace {

using ByteQueue =
        ::android::AidlMessageQueue<int8_t,
                                    ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>;

constexpr size_t kChunk = size_t{256} * 1024;  // stays in the cache between its two copies
constexpr int kAttempts = 10;
// A failure may be a rival's doing: one that took as many bytes from our queue before us.
constexpr int kFailures = 2;

using Clock = std::chrono::steady_clock;
constexpr auto kLongestTurn = std::chrono::seconds(30);
constexpr auto kLookAgain = std::chrono::milliseconds(5);

void fill(ByteQueue& queue, const Content& content, Progress& progress) {
    std::vector<int8_t> chunk(std::min<uint64_t>(kChunk, content.size()));
    uint64_t done = 0;
    while (done < content.size()) {
        const size_t count = std::min<uint64_t>(chunk.size(), content.size() - done);
        content.read(done, chunk.data(), count);
        if (!queue.write(chunk.data(), count)) {
            throw Failure(kNotReached, "the queue does not take what it was made for: try again");
        }
        done += count;
        progress.show(done);
    }
}

Failure notTaken() {
    return {kRefused,
            "the service did not take the bytes (other clients replace its queue, or it has no "
            "memory for them): try again, or split the file"};
}

enum class Outcome { kStored, kFailed, kNotTaken };

// One attempt.
//
// The service has one queue for all its clients. Another client may put its own in place of ours at
// any time, or ask for bytes while ours is in place; the answer to a request is then about the
// wrong bytes. Our own read counter tells: our request moves it by all of our bytes. It takes two
// rivals at the same moment, one of them with a block as long as ours, to deceive us.
Outcome offer(Client& client, const std::string& path, const Content& content, ByteQueue& queue) {
    if (!client.configure(queue.dupeDesc())) {
        throw Failure(kRefused, "the service refused the queue: its log tells why");
    }
    Progress progress(content.size());
    fill(queue, content, progress);
    if (queue.availableToRead() != content.size()) return Outcome::kNotTaken;
    const bool stored = client.requestRead(path, static_cast<int32_t>(content.size()));
    if (queue.availableToRead() != 0) return Outcome::kNotTaken;
    return stored ? Outcome::kStored : Outcome::kFailed;
}

// Clients that got into each other's way would do so again if they went on at the same pace.
void letOthersFinish(Clock::duration longest) {
    std::minstd_rand random(std::random_device{}());
    std::uniform_int_distribution<Clock::rep> pause(0, longest.count());
    std::this_thread::sleep_for(Clock::duration(pause(random)));
}

// lumctl processes take turns, so that they do not get into each other's way at all. A courtesy:
// where the lock cannot be had, the attempts below do. It ends with the descriptor.
::ndk::ScopedFileDescriptor takeTurn() {
    ::ndk::ScopedFileDescriptor lock(
            ::open(onDevice("/data").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto end = Clock::now() + kLongestTurn;
    while (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK &&
           Clock::now() < end) {
        std::this_thread::sleep_for(kLookAgain);
    }
    return lock;
}

}  // namespace

bool storeThroughQueue(Client& client, const std::string& path, const Content& content) {
    ByteQueue queue(content.size());
    if (!queue.isValid()) {
        throw Failure(kNotReached, "no memory for a queue of " +
                                           byteCount(static_cast<double>(content.size())) +
                                           ": free some, or split the file");
    }
    const ::ndk::ScopedFileDescriptor turn = takeTurn();
    int failures = 0;
    for (int attempt = 1; attempt <= kAttempts; ++attempt) {
        const auto start = Clock::now();
        const Outcome outcome = offer(client, path, content, queue);
        if (outcome == Outcome::kStored) return true;
        if (outcome == Outcome::kFailed && ++failures == kFailures) return false;
        letOthersFinish(attempt * (Clock::now() - start));
    }
    throw notTaken();
}

}  // namespace lumctl
