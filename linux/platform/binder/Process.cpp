#include "Process.h"

#include <android/binder_process.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>

namespace standin {
namespace {

// Lives as long as the process: threads may still wait here while it exits.
struct Permits {
    std::mutex mutex;
    std::condition_variable freed;
    uint32_t maxThreads = 15;
    bool started = false;
    bool leaving = false;
    uint32_t free = 0;

    void add(uint32_t count) {
        std::lock_guard<std::mutex> lock(mutex);
        free += count;
        freed.notify_all();
    }
};

Permits& permits() {
    static Permits& all = *new Permits;
    return all;
}

}  // namespace

CallPermit::CallPermit() {
    Permits& all = permits();
    std::unique_lock<std::mutex> lock(all.mutex);
    all.freed.wait(lock, [&] { return all.free > 0 || all.leaving; });
    mGranted = !all.leaving;
    if (mGranted) --all.free;
}

CallPermit::~CallPermit() {
    if (!mGranted) return;
    Permits& all = permits();
    {
        std::lock_guard<std::mutex> lock(all.mutex);
        ++all.free;
    }
    all.freed.notify_one();
}

void refuseFurtherCalls() {
    Permits& all = permits();
    std::lock_guard<std::mutex> lock(all.mutex);
    all.leaving = true;
    all.freed.notify_all();
}

}  // namespace standin

bool ABinderProcess_setThreadPoolMaxThreadCount(uint32_t count) {
    standin::Permits& all = standin::permits();
    std::lock_guard<std::mutex> lock(all.mutex);
    if (all.started) return false;
    all.maxThreads = count;
    return true;
}

void ABinderProcess_startThreadPool() {
    standin::Permits& all = standin::permits();
    {
        std::lock_guard<std::mutex> lock(all.mutex);
        if (all.started) return;
        all.started = true;
    }
    all.add(all.maxThreads + 1);
}

void ABinderProcess_joinThreadPool() {
    standin::permits().add(1);
    for (;;) ::pause();
}
