#pragma once

#include <aidl/vendor/tav/lumvndhal_aidl/ILumvndhal.h>

#include <memory>
#include <string>
#include <vector>

// The service under measurement, in a process that the measuring program forks.
namespace bench {

using aidl::vendor::tav::lumvndhal_aidl::ILumvndhal;
using aidl::vendor::tav::lumvndhal_aidl::LumvndhalGenericData;

constexpr char kDropbox[] = "/data/vendor/lum";
extern const std::string kInstance;

// Serves for ever, on that core (-1: on any).
void serve(int core);

// A proxy of the service, as soon as that is there.
std::shared_ptr<ILumvndhal> connect();

// Sends standard error, and with it the log, to /dev/null.
void quieten();

// The other side of the floor: for ever takes requests of `requestSize` bytes, and answers each
// with `replySize` bytes. Ends when the peer does.
void echo(int socket, size_t requestSize, size_t replySize);
// One round trip of it.
void roundTrip(int socket, std::vector<char>* buffer, size_t requestSize, size_t replySize);

void sendAll(int socket, const std::vector<char>& buffer, size_t size);
void receiveAll(int socket, std::vector<char>* buffer, size_t size);

}  // namespace bench
