#include <fcntl.h>
#include <fmq/impl/SharedMemory.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Diagnostics.h"

namespace android::details {

namespace {

// Address space is shared by all peers: one of them must not be able to use it up. Messages are
// counted in 31 bits, so this is far beyond what a call can move.
constexpr uint64_t kLongestMapping = uint64_t{1} << 34;

uint64_t pageSize() {
    static const auto size = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    return size;
}

// With the seal, the size that fstat gives afterwards is one to rely on. The seal is the peer's to
// set: setting it here would wait for the file's lock, which a peer can hold for as long as it
// likes, say by a write of bytes that never arrive. Nothing else in this file waits for that lock.
bool isSealedAgainstShrinking(int fd) {
    const int seals = fcntl(fd, F_GET_SEALS);
    if (seals < 0) return refuse("the descriptor is not of sealable memory: %s", strerror(errno));
    return (seals & F_SEAL_SHRINK) != 0 || refuse("the memory is not sealed against shrinking");
}

// Huge pages can be sealed too, but a page that the pool cannot supply raises SIGBUS.
bool isOrdinaryMemory(int fd) {
    struct statfs filesystem {};
    if (fstatfs(fd, &filesystem) != 0) return refuse("fstatfs: %s", strerror(errno));
    return filesystem.f_type == TMPFS_MAGIC || refuse("the memory is not of ordinary pages");
}

}  // namespace

::ndk::ScopedFileDescriptor SharedMemory::create(size_t size) {
    ::ndk::ScopedFileDescriptor fd(memfd_create("MessageQueue", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    const uint64_t rounded = (size + pageSize() - 1) / pageSize() * pageSize();
    if (fd.get() >= 0 && ftruncate(fd.get(), static_cast<off_t>(rounded)) == 0 &&
        fcntl(fd.get(), F_ADD_SEALS, F_SEAL_SHRINK) == 0) {
        return fd;
    }
    refuse("cannot create %zu bytes of shared memory: %s", size, strerror(errno));
    return ::ndk::ScopedFileDescriptor();
}

// The seals come first and the duplicate last: anything else on a file whose system a peer
// provides, even closing the duplicate, could wait for that peer. Only memory has seals.
bool SharedMemory::open(int fd) {
    if (!isSealedAgainstShrinking(fd) || !isOrdinaryMemory(fd)) return false;
    struct stat file {};
    if (fstat(fd, &file) != 0) return refuse("fstat: %s", strerror(errno));
    mDevice = file.st_dev;
    mInode = file.st_ino;
    mSize = static_cast<uint64_t>(file.st_size);
    mFd.set(fcntl(fd, F_DUPFD_CLOEXEC, 0));
    return mFd.get() >= 0 || refuse("cannot duplicate descriptor %d: %s", fd, strerror(errno));
}

bool SharedMemory::map(uint64_t begin, uint64_t end) {
    mBegin = begin - begin % pageSize();
    const uint64_t length = end - mBegin;
    if (length > kLongestMapping) {
        return refuse("the regions span %llu bytes", static_cast<unsigned long long>(length));
    }
    void* base = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, mFd.get(),
                      static_cast<off_t>(mBegin));
    if (base == MAP_FAILED) return refuse("cannot map the memory: %s", strerror(errno));
    mBase = static_cast<unsigned char*>(base);
    mLength = length;
    return true;
}

void SharedMemory::release() {
    if (mBase != nullptr) munmap(mBase, mLength);
    mBase = nullptr;
    mFd.set(-1);
}

}  // namespace android::details
