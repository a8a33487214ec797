#include "Transfer.h"

#include <fcntl.h>
#include <fmq/AidlMessageQueue.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <functional>
#include <future>
#include <random>
#include <thread>
#include <vector>

#include "Device.h"
#include "Failure.h"
#include "Text.h"

namespace lumctl {
namespace {

using ByteQueue =
        ::android::AidlMessageQueue<int8_t,
                                    ::aidl::android::hardware::common::fmq::SynchronizedReadWrite>;

constexpr size_t kPiece = size_t{4} * 1024 * 1024;  // from one look at the progress to the next
constexpr size_t kRing = 2;                         // behind the counters, among the grantors
constexpr size_t kWorthAThread = size_t{8} * 1024 * 1024;
constexpr int kAttempts = 10;

using Clock = std::chrono::steady_clock;
constexpr auto kLongestTurn = std::chrono::seconds(30);
constexpr auto kLookAgain = std::chrono::milliseconds(5);

// For few bytes a thread costs more than it saves.
std::launch policyFor(uint64_t size) {
    return size < kWorthAThread ? std::launch::deferred : std::launch::async;
}

// Puts the content at the beginning of a new queue's ring, where nobody finds it before it is
// committed. The kernel copies a file into the queue's memory by its descriptor, which costs no
// page fault and no zeroed page for every 4 KiB, as the mapping would.
void fill(const ByteQueue& queue, const ByteQueueDescriptor& desc, const Content& content,
          Progress* progress) {
    ByteQueue::MemTransaction room;
    queue.beginWrite(content.size(), &room);
    int8_t* const ring = room.getFirstRegion().getAddress();
    const auto start = static_cast<uint64_t>(desc.grantors[kRing].offset);
    for (uint64_t done = 0; done < content.size();) {
        const size_t count = std::min<uint64_t>(kPiece, content.size() - done);
        if (!content.send(done, desc.handle.fds[0].get(), start + done, count)) {
            content.read(done, ring + done, count);
        }
        done += count;
        progress->sending(done);
    }
}

void handOver(Client* client, const ByteQueueDescriptor& desc) {
    if (client->configure(desc)) return;
    throw Failure(kRefused, "the service refused the queue: its log tells why");
}

// With many bytes at the same time: the service needs about as long to give back the memory of the
// queue that it had as they take on their way into the new one.
void handOverAndFill(Client* client, const ByteQueue& queue, const ByteQueueDescriptor& desc,
                     const Content& content, Progress* progress) {
    std::future<void> configured =
            std::async(policyFor(content.size()), handOver, client, std::cref(desc));
    fill(queue, desc, content, progress);
    configured.get();
}

Failure notTaken(const std::string& why) {
    return {kRefused,
            "the service did not take the bytes (" + why + "): try again, or split the file"};
}

enum class Outcome { kStored, kFailed, kNotTaken, kOvertaken };

// What the answer to the request means, by the bytes that are left in our queue.
//
// The service has one queue for all its clients. Another client may put its own in place of ours at
// any time, or ask for bytes while ours is in place; the answer is then about the wrong bytes. Our
// own read counter tells: our request moves it by all of our bytes. It takes two rivals at the same
// moment, one of them with a block as long as ours, to deceive us.
//
// Bytes left and a success, or a part of them gone, can only be another client's doing: kOvertaken,
// and our request was not carried out. All of them left and a failure has many causes.
Outcome outcomeOf(bool stored, size_t left, size_t size) {
    if (left == 0) return stored ? Outcome::kStored : Outcome::kFailed;
    return stored || left < size ? Outcome::kOvertaken : Outcome::kNotTaken;
}

// The service keeps a queue until it is given the next. What is in this one is needed no longer as
// soon as the service has taken it, which is before it stores it.
void releaseMemory(const ByteQueueDescriptor& desc) {
    const auto& ring = desc.grantors[kRing];
    ::fallocate(desc.handle.fds[0].get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, ring.offset,
                ring.extent);
}

bool requestRead(Client* client, const std::string& path, size_t size, const ByteQueue& queue,
                 const ByteQueueDescriptor& desc) {
    auto stored = std::async(policyFor(size),
                             [&] { return client->requestRead(path, static_cast<int32_t>(size)); });
    while (stored.wait_for(kLookAgain) == std::future_status::timeout) {
        if (queue.availableToRead() > 0) continue;
        releaseMemory(desc);
        break;
    }
    return stored.get();
}

// Asks the service, which has the queue, for the bytes in it.
Outcome offer(Client* client, const std::string& path, size_t size, ByteQueue* queue,
              const ByteQueueDescriptor& desc, Progress* progress) {
    queue->commitWrite(size);
    if (queue->availableToRead() != size) return Outcome::kOvertaken;
    progress->storing();
    const bool stored = requestRead(client, path, size, *queue, desc);
    progress->stored();
    return outcomeOf(stored, queue->availableToRead(), size);
}

// Clients that got into each other's way would do so again if they went on at the same pace.
void letOthersFinish(Clock::duration longest) {
    std::minstd_rand random(std::random_device{}());
    std::uniform_int_distribution<Clock::rep> pause(0, longest.count());
    std::this_thread::sleep_for(Clock::duration(pause(random)));
}

// lumctl processes take turns, so that they do not get into each other's way at all. A courtesy:
// where the lock cannot be taken they go on without. It ends with the descriptor.
::ndk::ScopedFileDescriptor takeTurn(Progress* progress) {
    ::ndk::ScopedFileDescriptor lock(
            ::open(onDevice("/data").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto end = Clock::now() + kLongestTurn;
    while (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK &&
           Clock::now() < end) {
        progress->waiting();
        std::this_thread::sleep_for(kLookAgain);
    }
    return lock;
}

Failure noMemory(uint64_t size) {
    return {kNotReached, "no memory for a queue of " + byteCount(static_cast<double>(size)) +
                                 ": free some, or make it smaller"};
}

// Not empty.
ByteQueueDescriptor describe(ByteQueue* queue) {
    ByteQueueDescriptor desc = queue->dupeDesc();
    if (!desc.grantors.empty()) return desc;
    throw Failure(kNotReached, "no descriptor is left for the queue: close some files");
}

}  // namespace

bool storeThroughQueue(Client* client, const std::string& path, const Content& content,
                       Progress* progress) {
    ByteQueue queue(content.size());
    if (!queue.isValid()) throw noMemory(content.size());
    const ByteQueueDescriptor desc = describe(&queue);
    const ::ndk::ScopedFileDescriptor turn = takeTurn(progress);
    auto start = Clock::now();
    handOverAndFill(client, queue, desc, content, progress);
    for (int attempt = 1; attempt <= kAttempts; ++attempt) {
        const Outcome outcome = offer(client, path, content.size(), &queue, desc, progress);
        if (outcome == Outcome::kNotTaken) {
            throw notTaken("another client replaced its queue, or it has no memory for them");
        }
        if (outcome != Outcome::kOvertaken) return outcome == Outcome::kStored;
        letOthersFinish(attempt * (Clock::now() - start));
        start = Clock::now();
        handOver(client, desc);
    }
    throw notTaken("other clients use its queue");
}

bool attachFilledQueue(Client* client, size_t size, const Content& content) {
    ByteQueue queue(size);
    if (!queue.isValid()) throw noMemory(size);
    const ByteQueueDescriptor desc = describe(&queue);
    Progress progress(content.size(), {});
    const ::ndk::ScopedFileDescriptor turn = takeTurn(&progress);
    if (!client->configure(desc)) return false;
    fill(queue, desc, content, &progress);
    queue.commitWrite(content.size());
    return true;
}

}  // namespace lumctl
