#pragma once

#include <android/binder_auto_utils.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "Parcel.h"
#include "Wire.h"

struct cmsghdr;

namespace standin {

using Clock = std::chrono::steady_clock;

// Whether there is something to receive, be it the peer's end, before the deadline.
bool waitReadable(int fd, Clock::time_point deadline);

// Whether a parcel may travel at all.
bool fits(const AParcel& parcel);

// One end of a unix stream socket over which frames go back and forth, one at a time: whoever has
// sent a frame waits for the answer. A peer that breaks this, sends what is no frame, or takes
// longer than kPatience over a frame that it has begun to send, loses the connection. Used by one
// thread at a time.
class Connection {
  public:
    // Takes the socket over.
    explicit Connection(int fd);

    int fd() const { return mFd.get(); }

    // Sends a frame with `word` and the parcel, or an empty one. False when the peer is gone or
    // does not read; it has then not got the whole frame. One system call, unless the socket cannot
    // take the frame at once.
    bool send(int32_t word, const AParcel* parcel);

    // Waits, for as long as it takes, for the peer's next frame. False when the peer is gone or
    // broke the rules. One system call, unless the frame arrives in pieces.
    bool receive();

    // The frame received last; valid until the next send() or receive().
    int32_t word() const { return header().word; }
    const uint8_t* payload() const { return mBuffer.data() + sizeof(FrameHeader); }
    size_t payloadSize() const { return header().size; }
    std::vector<ndk::ScopedFileDescriptor> takeDescriptors() {
        return std::exchange(mDescriptors, {});
    }

    // Gives back the memory that a large frame took.
    void trim();

  private:
    bool sendAsOne(const FrameHeader& frame, const AParcel& parcel);
    bool sendInPieces(FrameHeader frame, const AParcel& parcel);
    const FrameHeader& header() const {
        return *reinterpret_cast<const FrameHeader*>(mBuffer.data());
    }
    size_t frameSize() const { return sizeof(FrameHeader) + header().size; }
    bool isWhole() const;
    bool receiveRest();
    bool receiveUpTo(size_t size, Clock::time_point deadline);
    void makeRoom(size_t size);
    bool receiveSome(int flags);
    bool collectDescriptors(const cmsghdr* control);
    bool headerIsSound() const;

    ndk::ScopedFileDescriptor mFd;
    std::vector<uint8_t> mBuffer;  // room for a frame; the first mReceived bytes are filled
    size_t mReceived = 0;
    std::vector<ndk::ScopedFileDescriptor> mDescriptors;
};

}  // namespace standin
