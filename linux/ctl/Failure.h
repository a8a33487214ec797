#pragma once

#include <stdexcept>
#include <string>

namespace lumctl {

// What the process ends with; scripts rely on the numbers.
enum ExitStatus : int {
    kDone = 0,
    kRefused = 1,     // the service was reached and did not do it
    kUsage = 2,       // nothing was sent: the command line, or a file it names, is at fault
    kNotReached = 3,  // no service, or the call or its result did not get through
};

// Ends the command. The sentence becomes the one line on standard error: it says what is wrong and
// what to do next.
class Failure : public std::runtime_error {
  public:
    Failure(ExitStatus status, const std::string& sentence)
        : std::runtime_error(sentence), mStatus(status) {}

    ExitStatus status() const { return mStatus; }

  private:
    ExitStatus mStatus;
};

}  // namespace lumctl
