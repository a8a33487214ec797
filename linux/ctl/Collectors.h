#pragma once

#include <string>

#include "Session.h"

namespace lumctl {

// The collectors' state for people. The engine behind the service says it as it likes; of a JSON
// object with "campaigns" (each with "key" and "collectors") and "modules" (each with "id" and
// "on") the tables are made, whatever else it holds. Any other text is shown as it came.
Report collectorsReport(const std::string& state);

}  // namespace lumctl
