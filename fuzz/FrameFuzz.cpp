// Bytes and descriptors on the socket of an endpoint, in any portions, over several connections. A
// whole frame is answered, what is none costs its sender the connection, and a client beside them
// is served as ever.
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <optional>

#include "Attempt.h"
#include "Binder.h"
#include "Connection.h"
#include "Support.h"

namespace {

using namespace fuzz;
using standin::FrameHeader;

const int kSome[] = {::open("/data", O_PATH | O_CLOEXEC), 0, 1, 2};  // to be sent
constexpr char kInterface[] = "fuzz.IEcho";
constexpr char kPath[] = "/dev/socket/binder/fuzz.IEcho:default";

// Answers with the bytes and descriptors that it is sent.
binder_status_t echo(AIBinder*, transaction_code_t, const AParcel* in, AParcel* out) {
    const size_t size = in->left() / 4 * 4;
    const void* const bytes = in->take(size);
    if (size > 0) std::memcpy(out->put(size), bytes, size);
    for (const auto& fd : in->fds) out->fds.emplace_back(fd.dup());
    return STATUS_OK;
}

class Peer {
  public:
    Peer() { require(mConnection.receive() && mConnection.word() == STATUS_OK, "it is admitted"); }
    // The service has let go of all that the connection cost it when its end comes.
    ~Peer() {
        ::shutdown(mConnection.fd(), SHUT_WR);
        while (mConnection.receive()) continue;
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // Between two frames: as good as new.
    bool isIdle() const { return mFrame.empty() && mDescriptors == 0; }

    // Sends the next bytes of a frame with descriptors; false when the service has hung up.
    bool send(const std::string& bytes, size_t descriptors) {
        if (!sendPortion(bytes, descriptors)) return false;
        mFrame += bytes;
        mDescriptors += descriptors;
        FrameHeader header = {};
        if (mFrame.size() < sizeof(header)) return true;
        std::memcpy(&header, mFrame.data(), sizeof(header));
        const bool isSound = header.magic == standin::kMagic &&
                             header.size <= standin::kMaxParcelSize &&
                             header.descriptorCount <= standin::kMaxDescriptors;
        const size_t size = sizeof(header) + (isSound ? header.size : 0);
        if (isSound && mFrame.size() < size) return true;
        // Whether bytes beyond the frame are noticed is a matter of time.
        const bool isWhole = isSound && header.descriptorCount == mDescriptors;
        const bool isAnswered = mConnection.receive();
        require(isAnswered == isWhole || (isWhole && mFrame.size() > size),
                "a whole frame is answered, and nothing else");
        if (!isAnswered || mFrame.size() > size) return false;
        requireAnswer(header);
        mFrame.clear();
        mDescriptors = 0;
        return true;
    }

  private:
    bool sendPortion(const std::string& bytes, size_t descriptors) {
        const size_t size = descriptors * sizeof(int);
        iovec piece = {const_cast<char*>(bytes.data()), bytes.size()};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(kSome))] = {};
        msghdr message = {};
        message.msg_iov = &piece;
        message.msg_iovlen = 1;
        if (size > 0) {
            message.msg_control = control;
            message.msg_controllen = CMSG_SPACE(size);
            *CMSG_FIRSTHDR(&message) = {CMSG_LEN(size), SOL_SOCKET, SCM_RIGHTS};
            std::memcpy(CMSG_DATA(CMSG_FIRSTHDR(&message)), kSome, size);
        }
        return ::sendmsg(mConnection.fd(), &message, MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }

    void requireAnswer(const FrameHeader& header) {
        const std::string sent = mFrame.substr(sizeof(header));
        const AParcel request(reinterpret_cast<const uint8_t*>(sent.data()), sent.size());
        const bool isCall = header.word >= 1 && header.word <= 0xffffff;
        AParcel token;
        standin::writeInterfaceToken(&token, kInterface);
        const bool isMeant = standin::checkInterfaceToken(&request, token) == STATUS_OK;
        const auto count = mConnection.takeDescriptors().size();
        const std::string answer(reinterpret_cast<const char*>(mConnection.payload()),
                                 mConnection.payloadSize());
        if (isCall && !isMeant) require(mConnection.word() == STATUS_BAD_TYPE, "a wrong token");
        if (header.word == standin::kPingCode) require(mConnection.word() == STATUS_OK, "a ping");
        if (!isCall || !isMeant) return;
        require(mConnection.word() == STATUS_OK && count == header.descriptorCount &&
                        answer == sent.substr(request.position(), request.left() / 4 * 4),
                "what was sent comes back");
    }

    standin::Connection mConnection{standin::connectToSocket(kPath, standin::kPatience)};
    std::string mFrame;  // of which so much has been sent
    size_t mDescriptors = 0;
};

// A client that is none of the input's.
Peer& startService() {
    // A thread costs what its stack costs the address sanitizer, and a message between two threads
    // costs less on one processor.
    pthread_attr_t small;
    ::pthread_attr_init(&small);
    ::pthread_attr_setstacksize(&small, size_t{256} * 1024);
    ::pthread_setattr_default_np(&small);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<size_t>(::sched_getcpu()), &one);
    ::sched_setaffinity(0, sizeof(one), &one);
    const AIBinder_Class* const echoes = AIBinder_Class_define(
            kInterface, [](void* data) { return data; }, [](void*) {}, echo);
    AIBinder* const service = AIBinder_new(echoes, nullptr);
    require(AServiceManager_addService(service, "fuzz.IEcho/default") == EX_NONE, "a service");
    ABinderProcess_startThreadPool();
    return *new Peer;
}

// A frame, perhaps with a word of its header changed.
std::string takeFrame(Input* input) {
    AParcel parcel;
    if (input->flag()) standin::writeInterfaceToken(&parcel, kInterface);
    const std::string text = input->bytes(input->take<uint16_t>() % 8192);
    if (!text.empty()) std::memcpy(parcel.put(text.size()), text.data(), text.size());
    uint32_t words[] = {standin::kMagic, static_cast<uint32_t>(parcel.size()),
                        input->oneOf({1U, 0xffffffU, standin::kPingCode, standin::kInterfaceCode}),
                        static_cast<uint32_t>(input->below(4))};
    if (input->below(4) == 0) words[input->below(4)] += input->take<uint32_t>();
    return std::string(reinterpret_cast<const char*>(words), sizeof(words)) +
           std::string(reinterpret_cast<const char*>(parcel.data()), parcel.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Peer& client = startService();
    Input input(data, size);
    const FrameHeader ping = {standin::kMagic, 0, standin::kPingCode, 0};
    const auto isServed = [&] {
        return client.send({reinterpret_cast<const char*>(&ping), sizeof(ping)}, 0);
    };
    static std::optional<Peer> peers[3];  // idle ones stay for the next input: threads are dear
    const auto ownDescriptors = [] {
        size_t count = 0;
        for (const auto& peer : peers) count += peer ? 2U : 0U;  // one for each end
        return count;
    };
    const size_t others = support::openDescriptors() - ownDescriptors();
    for (int portions = 0, made = 0; portions < 16 && !input.isEmpty(); ++portions) {
        auto& peer = peers[input.below(3)];
        if (!peer && ++made > 3) break;
        if (!peer) peer.emplace();
        const std::string frame = input.flag() ? takeFrame(&input) : input.text();
        const std::string first = frame.substr(0, size_t{1} + input.take<uint8_t>());
        const std::string rest = frame.substr(first.size());
        if (!first.empty() && !peer->send(first, input.below(5))) peer.reset();
        if (peer && !rest.empty() && !peer->send(rest, 0)) peer.reset();
    }
    for (auto& peer : peers) {
        if (peer && !peer->isIdle()) peer.reset();
    }
    const size_t expected = others + ownDescriptors();
    bool asExpected = false;
    for (int i = 0; i < 5000 && !asExpected; ++i) {
        if (i > 0) ::sched_yield();
        asExpected = support::openDescriptors() == expected;
    }
    require(asExpected, "a connection leaves no descriptor behind");
    require(isServed(), "others are served");
    return 0;
}
