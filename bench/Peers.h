#pragma once

#include <memory>
#include <string>
#include <vector>

// Other means of calling between two processes, with which ours is compared. Each takes arguments
// of a size and returns results of a size, as an array of bytes in its own framing.
namespace bench {

class Peer {
  public:
    virtual ~Peer() = default;
    virtual std::string name() const = 0;
    virtual void call() = 0;
};

// Those that were there when this was built, with their servers bound to the core.
std::vector<std::unique_ptr<Peer>> startPeers(size_t arguments, size_t results, int core);

}  // namespace bench
