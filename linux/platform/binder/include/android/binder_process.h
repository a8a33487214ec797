#pragma once

#include <cstdint>

// The threads of this process that answer calls. Calls that arrive before a thread has been given
// wait. All functions may be called from any thread.

extern "C" {

// How many threads may answer calls at once besides those given by the two functions below; 15
// unless set. To be called before ABinderProcess_startThreadPool. False when already started.
bool ABinderProcess_setThreadPoolMaxThreadCount(uint32_t count);
// Starts answering calls, with one thread and as many more as set above. Later calls do nothing.
void ABinderProcess_startThreadPool();
// Adds a thread's worth of answering and never returns.
[[noreturn]] void ABinderProcess_joinThreadPool();

}  // extern "C"
