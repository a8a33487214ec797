#pragma once

#include <string>
#include <vector>

namespace launcher {

// From here on this process, and what it starts, can write, make and remove files only below these
// paths; those that do not exist are passed over. Descriptors that are open stay as they are. Needs
// no rights. False when the kernel has no Landlock (before Linux 5.13, or switched off).
bool allowWritingOnlyBelow(const std::vector<std::string>& paths);

}  // namespace launcher
