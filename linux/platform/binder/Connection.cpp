#include "Connection.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace standin {
namespace {

// Attaches the descriptors to the message. `control` takes up to kMaxDescriptors.
void attach(const std::vector<ndk::ScopedFileDescriptor>& fds, char* control, msghdr* message) {
    if (fds.empty()) return;
    message->msg_control = control;
    message->msg_controllen = CMSG_SPACE(fds.size() * sizeof(int));
    cmsghdr* header = CMSG_FIRSTHDR(message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(fds.size() * sizeof(int));
    auto* to = reinterpret_cast<int*>(CMSG_DATA(header));
    for (const auto& fd : fds) *to++ = fd.get();
}

// Moves the message on past what was sent. The descriptors went with the first byte.
void advance(msghdr* message, size_t sent) {
    message->msg_control = nullptr;
    message->msg_controllen = 0;
    while (message->msg_iovlen > 0 && sent >= message->msg_iov->iov_len) {
        sent -= message->msg_iov->iov_len;
        ++message->msg_iov;
        --message->msg_iovlen;
    }
    if (message->msg_iovlen == 0) return;
    message->msg_iov->iov_base = static_cast<char*>(message->msg_iov->iov_base) + sent;
    message->msg_iov->iov_len -= sent;
}

bool sendAll(int fd, msghdr* message) {
    while (message->msg_iovlen > 0) {
        const ssize_t sent = ::sendmsg(fd, message, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 0) return false;
        advance(message, static_cast<size_t>(sent));
    }
    return true;
}

}  // namespace

bool waitReadable(int fd, Clock::time_point deadline) {
    pollfd waiting = {fd, POLLIN, 0};
    int ready;
    do {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        ready = ::poll(&waiting, 1, static_cast<int>(left.count()));
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

bool fits(const AParcel& parcel) {
    return parcel.size() <= kMaxParcelSize && parcel.fds.size() <= kMaxDescriptors;
}

Connection::Connection(int fd) : mFd(fd), mBuffer(kFirstBuffer) {}

bool Connection::send(int32_t word, const AParcel* parcel) {
    const AParcel empty;
    if (parcel == nullptr) parcel = &empty;
    const FrameHeader frame = {kMagic, static_cast<uint32_t>(parcel->size()), word,
                               static_cast<uint32_t>(parcel->fds.size())};
    const bool isSmall = parcel->fds.empty() && sizeof(frame) + parcel->size() <= kFirstBuffer;
    return isSmall ? sendAsOne(frame, *parcel) : sendInPieces(frame, *parcel);
}

// Copying a small frame together costs less than having the kernel gather it.
bool Connection::sendAsOne(const FrameHeader& frame, const AParcel& parcel) {
    std::memcpy(mBuffer.data(), &frame, sizeof(frame));
    if (parcel.size() != 0) {
        std::memcpy(mBuffer.data() + sizeof(frame), parcel.data(), parcel.size());
    }
    const size_t size = sizeof(frame) + parcel.size();
    for (size_t done = 0; done < size;) {
        const ssize_t sent = ::send(fd(), mBuffer.data() + done, size - done, MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) return false;
        if (sent > 0) done += static_cast<size_t>(sent);
    }
    return true;
}

bool Connection::sendInPieces(FrameHeader frame, const AParcel& parcel) {
    iovec pieces[] = {{&frame, sizeof(frame)},
                      {const_cast<uint8_t*>(parcel.data()), parcel.size()}};
    alignas(cmsghdr) char control[CMSG_SPACE(kMaxDescriptors * sizeof(int))];
    msghdr message = {};
    message.msg_iov = pieces;
    message.msg_iovlen = parcel.size() == 0 ? 1 : 2;
    attach(parcel.fds, control, &message);
    return sendAll(fd(), &message);
}

bool Connection::receive() {
    mReceived = 0;
    mDescriptors.clear();
    if (!receiveSome(0) || (!isWhole() && !receiveRest())) return false;
    // More than one frame is more than the peer may have sent.
    return headerIsSound() && mReceived == frameSize() &&
           mDescriptors.size() == header().descriptorCount;
}

bool Connection::isWhole() const {
    return mReceived >= sizeof(FrameHeader) && mReceived >= frameSize();
}

bool Connection::receiveRest() {
    const auto deadline = Clock::now() + kPatience;
    return receiveUpTo(sizeof(FrameHeader), deadline) && headerIsSound() &&
           receiveUpTo(frameSize(), deadline);
}

bool Connection::receiveUpTo(size_t size, Clock::time_point deadline) {
    while (mReceived < size) {
        makeRoom(size);
        if (!waitReadable(fd(), deadline) || !receiveSome(MSG_DONTWAIT)) return false;
    }
    return true;
}

// The buffer grows with what has come, not with what a peer merely announces.
void Connection::makeRoom(size_t size) {
    if (mReceived == mBuffer.size()) mBuffer.resize(std::min(size, mBuffer.size() * 4));
}

// Takes what has come, waiting for the first byte unless `flags` say not to.
bool Connection::receiveSome(int flags) {
    alignas(cmsghdr) char control[CMSG_SPACE(kMaxDescriptors * sizeof(int))];
    iovec room = {mBuffer.data() + mReceived, mBuffer.size() - mReceived};
    msghdr message = {};
    message.msg_iov = &room;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    ssize_t received;
    do {
        received = ::recvmsg(fd(), &message, flags | MSG_CMSG_CLOEXEC);
    } while (received < 0 && errno == EINTR);
    if (received < 0) return errno == EAGAIN;
    mReceived += static_cast<size_t>(received);
    const bool taken = message.msg_controllen == 0 || collectDescriptors(CMSG_FIRSTHDR(&message));
    return received > 0 && taken && (message.msg_flags & MSG_CTRUNC) == 0;
}

bool Connection::collectDescriptors(const cmsghdr* control) {
    if (control == nullptr || control->cmsg_level != SOL_SOCKET ||
        control->cmsg_type != SCM_RIGHTS) {
        return true;
    }
    const size_t count = (control->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    const unsigned char* from = CMSG_DATA(control);
    for (size_t i = 0; i < count; ++i) {
        int fd = -1;
        std::memcpy(&fd, from + i * sizeof(int), sizeof(int));
        mDescriptors.emplace_back(fd);
    }
    return mDescriptors.size() <= kMaxDescriptors;
}

bool Connection::headerIsSound() const {
    return header().magic == kMagic && header().size <= kMaxParcelSize &&
           header().descriptorCount <= kMaxDescriptors;
}

void Connection::trim() {
    if (mBuffer.size() <= kKeptBuffer) return;
    mBuffer = std::vector<uint8_t>(kFirstBuffer);
}

}  // namespace standin
