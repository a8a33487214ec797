#include "Process.h"

#include <android/binder_process.h>
#include <semaphore.h>
#include <standin/ThreadSafety.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <mutex>
#include <utility>

namespace standin {
namespace {

// A thread that waits for a permit.
class Waiter {
  public:
    Waiter() { ::sem_init(&mTurn, 0, 0); }
    ~Waiter() { ::sem_destroy(&mTurn); }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    // Whether a permit was granted; waits until that is decided.
    bool wait() {
        while (::sem_wait(&mTurn) != 0 && errno == EINTR) {
        }
        return mGranted;
    }
    // The waiter may be gone when this returns.
    void decide(bool granted) {
        mGranted = granted;
        ::sem_post(&mTurn);
    }

  private:
    sem_t mTurn;
    bool mGranted = false;
};

// The permits of this process. A permit that is given back goes to the thread that has waited
// longest, never to one that just comes by: no caller is passed over, however many there are.
class Permits {
  public:
    bool take() {
        Waiter self;
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            if (mLeaving) return false;
            if (mFree > 0) {
                --mFree;
                return true;
            }
            mWaiters.push_back(&self);
        }
        return self.wait();
    }

    void add(uint32_t count) {
        const std::lock_guard<std::mutex> lock(mMutex);
        for (mFree += count; mFree > 0 && !mWaiters.empty(); --mFree) decideFirst(true);
    }

    void refuseAll() {
        const std::lock_guard<std::mutex> lock(mMutex);
        mLeaving = true;
        while (!mWaiters.empty()) decideFirst(false);
    }

    // False when the pool is started: it is too late then.
    bool setMaxThreads(uint32_t count) {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (!mStarted) mMaxThreads = count;
        return !mStarted;
    }

    // How many threads the pool begins with; none when it is started already.
    uint32_t startPool() {
        const std::lock_guard<std::mutex> lock(mMutex);
        return std::exchange(mStarted, true) ? 0 : mMaxThreads + 1;
    }

  private:
    void decideFirst(bool granted) REQUIRES(mMutex) {
        Waiter* const first = mWaiters.front();
        mWaiters.pop_front();
        first->decide(granted);
    }

    std::mutex mMutex;
    std::deque<Waiter*> mWaiters GUARDED_BY(mMutex);
    uint32_t mMaxThreads GUARDED_BY(mMutex) = 15;
    uint32_t mFree GUARDED_BY(mMutex) = 0;
    bool mStarted GUARDED_BY(mMutex) = false;
    bool mLeaving GUARDED_BY(mMutex) = false;
};

// Lives as long as the process: threads may still wait here while it exits.
Permits& permits() {
    static Permits& all = *new Permits;
    return all;
}

}  // namespace

CallPermit::CallPermit() : mGranted(permits().take()) {}

CallPermit::~CallPermit() {
    if (mGranted) permits().add(1);
}

void refuseFurtherCalls() {
    permits().refuseAll();
}

}  // namespace standin

bool ABinderProcess_setThreadPoolMaxThreadCount(uint32_t count) {
    return standin::permits().setMaxThreads(count);
}

void ABinderProcess_startThreadPool() {
    standin::permits().add(standin::permits().startPool());
}

void ABinderProcess_joinThreadPool() {
    standin::permits().add(1);
    for (;;) ::pause();
}
