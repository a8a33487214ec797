#pragma once

#include <string>

#include "Client.h"
#include "Content.h"
#include "Progress.h"

namespace lumctl {

// Stores the content as one file through a shared-memory queue that holds it whole: the service
// replaces the file with every block that it takes. At least 1 and at most kMaxBlock bytes.
//
// Tries again only when another client is known to have got in between, so that nothing of this one
// was carried out. False when the service took the bytes and could not store them, or another
// client took as many in its place. Failure kRefused when it did not take them.
bool storeThroughQueue(Client* client, const std::string& path, const Content& content,
                       Progress* progress);

// Makes a queue of `size` bytes the service's own, and then fills it with the content, which must
// fit into it. False when the service refused it; the queue is the service's from then on.
bool attachFilledQueue(Client* client, size_t size, const Content& content);

}  // namespace lumctl
