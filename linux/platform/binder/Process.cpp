#include "Process.h"

#include <android/binder_process.h>
#include <semaphore.h>
#include <standin/ThreadSafety.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <deque>
#include <mutex>
#include <utility>

namespace standin {
namespace {

using Clock = std::chrono::steady_clock;

// As long as nobody waits longer, a permit that is given back is for whoever comes next, which is
// mostly a thread that runs already: to hand each to a thread that sleeps takes a switch of threads
// a call, and halves what many callers get done.
constexpr std::chrono::milliseconds kLongestWait{20};

// A thread that needs a permit.
struct Waiter {
    Waiter() { ::sem_init(&turn, 0, 0); }
    ~Waiter() { ::sem_destroy(&turn); }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    void sleep() {
        while (::sem_wait(&turn) != 0 && errno == EINTR) {
        }
    }

    enum State { kNew, kWaiting, kGranted, kRefused };

    sem_t turn;
    State state = kNew;
    Clock::time_point since;
};

// The permits of this process. Threads that wait stand in a line. The first of them is told of a
// permit that has become free, and may find that another thread was faster; once it has waited for
// kLongestWait the next permit is handed to it. So no caller is passed over for long, however many
// there are.
class Permits {
  public:
    bool take() {
        Waiter self;
        while (!settle(&self)) self.sleep();
        return self.state == Waiter::kGranted;
    }

    void add(uint32_t count) {
        const std::lock_guard<std::mutex> lock(mMutex);
        mFree += count;
        tellFirst();
    }

    void refuseAll() {
        const std::lock_guard<std::mutex> lock(mMutex);
        mLeaving = true;
        while (!mWaiters.empty()) decideFirst(Waiter::kRefused);
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
    // Whether it is decided what becomes of the waiter; else it is in the line.
    bool settle(Waiter* waiter) {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (waiter->state == Waiter::kNew) {
            join(waiter);
        } else if (waiter->state == Waiter::kWaiting) {
            mTold = false;
            if (mFree > 0) grantFirst();
            tellFirst();
        }
        return waiter->state != Waiter::kWaiting;
    }

    void join(Waiter* waiter) REQUIRES(mMutex) {
        if (mLeaving) {
            waiter->state = Waiter::kRefused;
        } else if (mFree > 0) {
            --mFree;
            waiter->state = Waiter::kGranted;
        } else {
            waiter->state = Waiter::kWaiting;
            waiter->since = Clock::now();
            mWaiters.push_back(waiter);
        }
    }

    void tellFirst() REQUIRES(mMutex) {
        while (mFree > 0 && !mWaiters.empty() &&
               Clock::now() - mWaiters.front()->since >= kLongestWait) {
            grantFirst();
        }
        if (mFree == 0 || mWaiters.empty() || mTold) return;
        mTold = true;
        ::sem_post(&mWaiters.front()->turn);
    }

    void grantFirst() REQUIRES(mMutex) {
        --mFree;
        decideFirst(Waiter::kGranted);
    }

    // The waiter goes on once mMutex is free.
    void decideFirst(Waiter::State state) REQUIRES(mMutex) {
        Waiter* const first = mWaiters.front();
        mWaiters.pop_front();
        mTold = false;
        first->state = state;
        ::sem_post(&first->turn);
    }

    std::mutex mMutex;
    std::deque<Waiter*> mWaiters GUARDED_BY(mMutex);
    bool mTold GUARDED_BY(mMutex) = false;  // the first of them, and it has not tried yet
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
