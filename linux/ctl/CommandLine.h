#pragma once

namespace lumctl {

// Does what the command line says and returns the exit status. A failure is told in one line on
// standard error.
int run(int argc, char** argv);

}  // namespace lumctl
