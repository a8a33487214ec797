#pragma once

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>

// Puts a socket at the path: a file that exists and that nobody can open, the superuser included.
// Ends the test program when that fails.
inline void makeSocket(const std::string& path) {
    if (::mknod(path.c_str(), S_IFSOCK | 0600, 0) == 0) return;
    std::perror(path.c_str());
    std::abort();
}
