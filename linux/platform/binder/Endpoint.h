#pragma once

#include <android/binder_auto_utils.h>
#include <standin/ThreadSafety.h>
#include <sys/socket.h>

#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>
#include <string>

#include "Binder.h"
#include "Connection.h"

namespace standin {

// The socket under which a local binder can be called from other processes. One thread admits
// callers, and each admitted caller has a thread of its own, so that whatever a caller does or
// fails to do with its connection concerns that thread alone. How many of them are inside the
// binder at once is CallPermit's matter.
//
// An endpoint is never destroyed: its threads may run until the process ends.
class Endpoint {
  public:
    // Makes the socket and starts to admit callers. Null with a reason: EEXIST when a living
    // service is at `path`, else the error that the system gave.
    static Endpoint* open(const std::string& path, const ndk::SpAIBinder& binder, int* error);

    const ndk::SpAIBinder& binder() const { return mBinder; }

    // Removes the socket, takes no further calls, and waits a while for those under way.
    void close();

  private:
    // A caller's connection, as long as its thread runs.
    struct Caller {
        Endpoint* endpoint;
        int fd;
        ucred peer;
    };

    Endpoint(std::string path, ndk::SpAIBinder binder);
    int listen();
    void removeSocket() const;
    void acceptCallers();
    bool hasReserve();
    void admit(int fd);
    Caller* add(int fd);
    bool admits(const ucred& peer) const REQUIRES(mMutex);
    void serve(Connection* connection) const;
    binder_status_t answer(Connection* connection, AParcel* reply) const;
    void remove(const Caller* caller);

    static void* runAcceptance(void* endpoint);
    static void* runCaller(void* caller);

    const std::string mPath;
    const ndk::SpAIBinder mBinder;
    const Generation mGeneration;
    ndk::ScopedFileDescriptor mListener;
    ndk::ScopedFileDescriptor mReserve;
    ino_t mInode = 0;
    std::atomic<bool> mClosing{false};

    std::mutex mMutex;
    std::condition_variable_any mRemoved;
    std::list<Caller> mCallers GUARDED_BY(mMutex);
};

}  // namespace standin
