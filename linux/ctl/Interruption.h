#pragma once

#include <string>

namespace lumctl {

// What to say when Ctrl-C ends the process at a moment at which its work cannot be taken back.
struct Interruption {
    std::string toStandardError;
    std::string toStandardOutput;
};

// While this object lives, SIGINT says so before it ends the process as it always does. One object
// at a time.
class InterruptionNotice {
  public:
    explicit InterruptionNotice(const Interruption& interruption);
    ~InterruptionNotice();
    InterruptionNotice(const InterruptionNotice&) = delete;
    InterruptionNotice& operator=(const InterruptionNotice&) = delete;
};

}  // namespace lumctl
