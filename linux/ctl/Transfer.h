#pragma once

#include <string>

#include "Client.h"
#include "Content.h"

namespace lumctl {

// Stores the content as one file through a shared-memory queue that holds it whole: the service
// replaces the file with every block that it takes. At least 1 and at most kMaxBlock bytes.
//
// False when the service took the bytes and could not store them. Failure kRefused when it did not
// take them.
bool storeThroughQueue(Client& client, const std::string& path, const Content& content);

}  // namespace lumctl
