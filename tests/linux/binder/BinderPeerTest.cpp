// Peers that break the rules. None of them may hold the one thread that answers calls.
#include <netinet/in.h>
#include <sys/socket.h>

#include "EchoService.h"
#include "linux/platform/binder/Attempt.h"

namespace {

using namespace echo_service;
using standin::FrameHeader;
using standin::kMagic;

constexpr FrameHeader kPing = {kMagic, 0, standin::kPingCode, 0};

class BinderPeer : public BinderCallWithOneThread {
  protected:
    // Well before the peer that would be in the way is given up.
    bool answersSoon() {
        const auto begin = standin::Clock::now();
        return echo("unharmed") == STATUS_OK && standin::Clock::now() - begin < 3s;
    }
};

int rawConnection() {
    const int fd = standin::connectToSocket(kSocket, standin::kPatience);
    EXPECT_GE(fd, 0);
    EXPECT_TRUE(isGreeted(fd));
    return fd;
}

bool isClosed(int fd) {
    const timeval patience = {standin::kPatience.count() + 3, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    char byte;
    const ssize_t received = ::recv(fd, &byte, 1, 0);
    return received == 0 || (received < 0 && errno == ECONNRESET);
}

TEST_F(BinderPeer, DropsPeersThatSendNonsense) {
    const size_t before = support::openDescriptors(mService->pid());
    const FrameHeader tooLarge = {kMagic, standin::kMaxParcelSize + 1, kReadFile, 0};
    const FrameHeader missingDescriptor = {kMagic, 0, kReadFile, 1};
    const FrameHeader twoFrames[] = {kPing, kPing};
    const std::string garbage(5000, '\xff');
    const std::pair<const void*, size_t> attempts[] = {
            {garbage.data(), garbage.size()},
            {&tooLarge, sizeof(tooLarge)},
            {&missingDescriptor, sizeof(missingDescriptor)},
            {twoFrames, sizeof(twoFrames)}};
    for (const auto& [bytes, size] : attempts) {
        const ndk::ScopedFileDescriptor peer(rawConnection());
        ASSERT_EQ(::send(peer.get(), bytes, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
        EXPECT_TRUE(isClosed(peer.get()));
        EXPECT_EQ(echo("unharmed"), STATUS_OK);
    }
    EXPECT_TRUE(mService->descriptorsSettleAt(before));
}

// Sends `count` descriptors beside the bytes.
void sendDescriptors(int socket, const void* bytes, size_t size, size_t count, int fd = 0) {
    std::vector<char> control(CMSG_SPACE(count * sizeof(int)));
    iovec piece = {const_cast<void*>(bytes), size};
    msghdr message = {};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(count * sizeof(int));
    for (size_t i = 0; i < count; ++i) reinterpret_cast<int*>(CMSG_DATA(header))[i] = fd;
    EXPECT_EQ(::sendmsg(socket, &message, MSG_NOSIGNAL), static_cast<ssize_t>(size));
}

TEST_F(BinderPeer, DropsPeersThatSendTooManyDescriptors) {
    const size_t before = support::openDescriptors(mService->pid());
    for (const size_t count : {1U, 100U, 250U}) {
        const ndk::ScopedFileDescriptor peer(rawConnection());
        sendDescriptors(peer.get(), &kPing, sizeof(kPing), count);
        EXPECT_TRUE(isClosed(peer.get())) << count;
    }
    // Spread over the bytes of one frame: the second piece is too much, however slow the rest is.
    const ndk::ScopedFileDescriptor peer(rawConnection());
    const auto begin = standin::Clock::now();
    for (int i = 0; i < 2; ++i) sendDescriptors(peer.get(), &kPing.magic, 1, 20);
    EXPECT_TRUE(isClosed(peer.get()));
    EXPECT_LT(standin::Clock::now() - begin, standin::kPatience);
    const bool emulated = std::string(EMULATOR).find("qemu") != std::string::npos;
    EXPECT_TRUE(emulated || mService->descriptorsSettleAt(before));  // qemu keeps what it cuts off
    EXPECT_EQ(echo("unharmed"), STATUS_OK);
}

TEST_F(BinderPeer, DropsPeersThatSendHalfAFrameAndWait) {
    const ndk::ScopedFileDescriptor peer(rawConnection());
    const FrameHeader half = {kMagic, 1000, kEcho, 0};
    ASSERT_EQ(::send(peer.get(), &half, sizeof(half), MSG_NOSIGNAL), 16);
    EXPECT_EQ(echo("meanwhile"), STATUS_OK);
    EXPECT_TRUE(isClosed(peer.get()));
}

// Asks for a reply that the socket cannot take at once.
ndk::ScopedFileDescriptor askForMuch() {
    ndk::ScopedFileDescriptor peer(rawConnection());
    standin::Connection connection(::dup(peer.get()));
    AParcel request;
    standin::writeInterfaceToken(&request, "test.IEcho");
    AParcel_writeInt32(&request, 900 * 1024);
    EXPECT_TRUE(connection.send(kFill, &request));
    return peer;
}

TEST_F(BinderPeer, IsNotHeldUpByPeersThatDieOrNeverRead) {
    for (int i = 0; i < 20; ++i) {
        const ndk::ScopedFileDescriptor dying = askForMuch();
        if (i % 2 == 0) ::shutdown(dying.get(), SHUT_RD);
    }
    const ndk::ScopedFileDescriptor silent = askForMuch();
    EXPECT_TRUE(answersSoon());
}

// A connection that its last close waits for: no one reads the bytes that are under way.
ndk::ScopedFileDescriptor lingeringSocket() {
    const ndk::ScopedFileDescriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof(address);
    EXPECT_EQ(::bind(listener.get(), plain, size), 0);
    EXPECT_EQ(::listen(listener.get(), 1), 0);
    EXPECT_EQ(::getsockname(listener.get(), plain, &size), 0);
    ndk::ScopedFileDescriptor client(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(::connect(client.get(), plain, size), 0);
    static const ndk::ScopedFileDescriptor silent(::accept(listener.get(), nullptr, nullptr));
    const linger patience = {1, 6};
    ::setsockopt(client.get(), SOL_SOCKET, SO_LINGER, &patience, sizeof(patience));
    const std::string some(64 * 1024, 'x');
    while (::send(client.get(), some.data(), some.size(), MSG_DONTWAIT) > 0) {
    }
    return client;
}

TEST_F(BinderPeer, IsNotHeldUpByClosingWhatAPeerSent) {
    ndk::ScopedFileDescriptor lingering = lingeringSocket();
    const ndk::ScopedFileDescriptor peer(rawConnection());
    const FrameHeader ping = {kMagic, 0, standin::kPingCode, 1};
    sendDescriptors(peer.get(), &ping, sizeof(ping), 1, lingering.get());
    lingering.set(-1);
    std::this_thread::sleep_for(100ms);
    EXPECT_TRUE(answersSoon());
}

}  // namespace
