// Loaded into what runs by fakechroot, in front of its library: that takes a last "/." off a path,
// and so makes the directory "x" when it is asked to make "x/.". The kernel never makes that one.
// It says whether "x" is a directory, which lumctl asks the service in this way.

#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace {

bool endsInDot(const char* path) {
    const size_t length = std::strlen(path);
    return length > 1 && std::strcmp(path + length - 2, "/.") == 0;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int mkdir(const char* path, mode_t mode) {
    static const auto next = reinterpret_cast<decltype(&mkdir)>(::dlsym(RTLD_NEXT, "mkdir"));
    if (!endsInDot(path)) return next(path, mode);
    struct stat status = {};
    if (::stat(path, &status) == 0) errno = S_ISDIR(status.st_mode) ? EEXIST : ENOTDIR;
    return -1;
}
