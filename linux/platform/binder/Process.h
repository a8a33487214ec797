#pragma once

namespace standin {

// The right to enter a service object: as many exist as the process has given binder threads, and
// who has waited for one is not passed over for long. Held for the length of one call, and not
// while a frame is received or sent, so a peer that is slow at its end keeps no other from being
// answered.
class CallPermit {
  public:
    // Waits until one is free. Not granted once the process is leaving.
    CallPermit();
    ~CallPermit();
    CallPermit(const CallPermit&) = delete;
    CallPermit& operator=(const CallPermit&) = delete;

    bool granted() const { return mGranted; }

  private:
    bool mGranted;
};

// No permit is granted from here on.
void refuseFurtherCalls();

}  // namespace standin
