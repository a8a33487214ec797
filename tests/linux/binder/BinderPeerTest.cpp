// Peers that break the rules. None of them may hold the one thread that answers calls.
#include <netinet/in.h>

#include "EchoService.h"

namespace {

using namespace echo_service;
using standin::FrameHeader;
using standin::kMagic;

constexpr FrameHeader kPing = {kMagic, 0, standin::kPingCode, 0};

class BinderPeer : public BinderCall {
  protected:
    BinderPeer() : BinderCall(0) {}

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

// Sends `count` descriptors beside the bytes.
void sendDescriptors(int socket, const void* bytes, size_t size, size_t count, int fd = 0) {
    const size_t room = CMSG_SPACE(count * sizeof(int));
    std::vector<int> control(room / sizeof(int), fd);
    iovec piece = {const_cast<void*>(bytes), size};
    const msghdr message = {nullptr, 0, &piece, 1, control.data(), room, 0};
    *CMSG_FIRSTHDR(&message) = {CMSG_LEN(count * sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
    EXPECT_EQ(::sendmsg(socket, &message, MSG_NOSIGNAL), static_cast<ssize_t>(size));
}

TEST_F(BinderPeer, DropsPeersThatSendTooManyDescriptors) {
    const size_t before = support::openDescriptors(mService->pid());
    // At once, or over the bytes of one frame: however slow the rest is.
    for (const size_t count : {250U, 20U}) {
        const ndk::ScopedFileDescriptor peer(rawConnection());
        const auto begin = standin::Clock::now();
        sendDescriptors(peer.get(), &kPing.magic, 1, count);
        if (count == 20) sendDescriptors(peer.get(), &kPing.magic, 1, count);
        EXPECT_TRUE(isClosed(peer.get())) << count;
        EXPECT_LT(standin::Clock::now() - begin, standin::kPatience);
    }
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
    static const ndk::ScopedFileDescriptor silent(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ndk::ScopedFileDescriptor client(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof(address);
    EXPECT_TRUE(::bind(silent.get(), plain, size) == 0 && ::listen(silent.get(), 1) == 0 &&
                ::getsockname(silent.get(), plain, &size) == 0 &&
                ::connect(client.get(), plain, size) == 0);
    const linger patience = {1, 6};
    ::setsockopt(client.get(), SOL_SOCKET, SO_LINGER, &patience, sizeof(patience));
    const std::string some(64 * 1024, 'x');
    while (::send(client.get(), some.data(), some.size(), MSG_DONTWAIT) > 0) continue;
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
