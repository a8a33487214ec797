#include "Peers.h"

namespace bench {

std::vector<std::unique_ptr<Peer>> startPeers(size_t /*arguments*/, size_t /*results*/,
                                              int /*core*/) {
    return {};
}

}  // namespace bench
