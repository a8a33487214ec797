#pragma once

#include <android/binder_auto_utils.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "Parcel.h"
#include "Wire.h"

struct cmsghdr;
struct timeval;

namespace standin {

// Whether a parcel may travel at all.
bool fits(const AParcel& parcel);

// One end of a unix stream socket over which frames go back and forth, one at a time: who has sent
// a frame waits for the answer. A peer that breaks this, sends what is no frame, or takes longer
// than kPatience over a frame that it has begun to send is not listened to any longer. Used by
// one thread at a time.
class Connection {
  public:
    // Takes the socket over.
    explicit Connection(int fd);

    int fd() const { return mFd.get(); }

    // Sends a frame with `word` and the parcel, or an empty one. False when the peer is gone or
    // does not read. One system call, unless the socket cannot take the frame at once.
    bool send(int32_t word, const AParcel* parcel);

    // Waits, for as long as it takes, for the peer's next frame. False when the peer is gone or
    // broke the rules. One system call, unless the frame arrives in pieces.
    bool receive();

    // The frame received last; valid until the next receive().
    int32_t word() const { return header().word; }
    const uint8_t* payload() const { return mBuffer.data() + sizeof(FrameHeader); }
    size_t payloadSize() const { return header().size; }
    std::vector<ndk::ScopedFileDescriptor> takeDescriptors() {
        return std::exchange(mDescriptors, {});
    }

    // Gives back the memory that a large frame took.
    void trim();

  private:
    const FrameHeader& header() const {
        return *reinterpret_cast<const FrameHeader*>(mBuffer.data());
    }
    bool receiveUpTo(size_t size);
    void makeRoom(size_t size);
    bool receiveSome(int flags);
    bool collectDescriptors(const cmsghdr* control);
    bool headerIsSound() const;

    ndk::ScopedFileDescriptor mFd;
    std::vector<uint8_t> mBuffer;  // room for a frame; the first mReceived bytes are filled
    size_t mReceived = 0;
    std::vector<ndk::ScopedFileDescriptor> mDescriptors;
};

// Connects to the unix socket at `path`, however long the path is, waiting for room there as long
// as `patience` says (null: without end). The socket, or -1 with errno.
int connectTo(const std::string& path, const timeval* patience = nullptr);

}  // namespace standin
