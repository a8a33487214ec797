#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Client.h"
#include "Failure.h"

// What lumctl knows about dropbox paths. Whether one is allowed is for the service to say.

namespace lumctl {

// The directories above `path` and `path` itself, outermost first. A path that holds ".." stands
// alone: the service will refuse it, and nothing should be made on the way there.
std::vector<std::string> withParents(const std::string& path);

// Whether removing `path` removes everything.
bool isWholeDropbox(const std::string& path);

// The service gives no reasons. These ask it what is there, and say what is known; a reason that is
// only likely is called so.
Failure whyNotMade(Client* client, const std::string& path);
Failure whyNotStored(Client* client, const std::string& path, uint64_t size);
Failure whyNotRemoved(const std::string& path);

}  // namespace lumctl
