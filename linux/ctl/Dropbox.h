#pragma once

#include <string>
#include <vector>

#include "Failure.h"

// What lumctl knows about dropbox paths. Whether one is allowed is for the service to say.

namespace lumctl {

// The directories above `path` and `path` itself, outermost first. A path that holds ".." stands
// alone: the service will refuse it, and nothing should be made on the way there.
std::vector<std::string> withParents(const std::string& path);

// Whether removing `path` removes everything.
bool isWholeDropbox(const std::string& path);

// The failures that the service answers without a reason, with the likely one. `parentsMade`: what
// is above the path was made, or was there as whatever it is.
Failure notMade(const std::string& path, bool parentsMade);
Failure notRemoved(const std::string& path);
Failure notStored(const std::string& path);

}  // namespace lumctl
