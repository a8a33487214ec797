#include <cutils/properties.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

#define PROPERTY_DIRECTORY "/dev/__properties__/"

constexpr size_t kMaxLength = PROPERTY_VALUE_MAX - 1;
constexpr size_t kPathSize = sizeof(PROPERTY_DIRECTORY) + NAME_MAX;

// Not isalnum(): which bytes are letters must not depend on the locale.
bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           (c != '\0' && strchr(".-_@:", c) != nullptr);
}

// Without a slash and a dot in front, a good name can only be a file right inside the directory,
// and never one of the files that property_set is still writing.
bool isName(const char* key) {
    if (key == nullptr) return false;
    const size_t length = strnlen(key, NAME_MAX + 1);
    if (length == 0 || length > NAME_MAX) return false;
    if (key[0] == '.' || key[length - 1] == '.' || strstr(key, "..") != nullptr) return false;
    return std::all_of(key, key + length, isNameCharacter);
}

void makePath(const char* key, char (&path)[kPathSize]) {
    static_cast<void>(snprintf(path, sizeof(path), "%s%s", PROPERTY_DIRECTORY, key));
}

// As much of the file as fits into the buffer, or -1. Does not wait, even if the file is a pipe.
ssize_t readFile(const char* path, char* bytes, size_t size) {
    const int file = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0) return -1;
    ssize_t count;
    do {
        count = ::read(file, bytes, size);
    } while (count < 0 && errno == EINTR);
    ::close(file);
    return count;
}

// The length of the property's value, now in `value`; 0 when it has none.
size_t readValue(const char* key, char* value) {
    value[0] = '\0';
    if (!isName(key)) return 0;
    char path[kPathSize];
    makePath(key, path);
    char bytes[kMaxLength + 2];  // a newline, and one byte more than any value has
    const ssize_t count = readFile(path, bytes, sizeof(bytes));
    if (count <= 0) return 0;

    size_t length = static_cast<size_t>(count);
    if (bytes[length - 1] == '\n') --length;
    if (length > kMaxLength) return 0;
    memcpy(value, bytes, length);
    value[length] = '\0';
    return strlen(value);  // a value is text: it ends at the first NUL
}

bool writeAll(int file, const char* bytes, size_t length) {
    while (length > 0) {
        const ssize_t written = ::write(file, bytes, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes += written;
        length -= static_cast<size_t>(written);
    }
    return true;
}

// Closes the file in any case. It is readable by all, as properties are.
bool fillAndClose(int file, const char* value, size_t length) {
    const bool endsInNewline = length > 0 && value[length - 1] == '\n';
    const bool good = ::fchmod(file, 0644) == 0 && writeAll(file, value, length) &&
                      writeAll(file, "\n", endsInNewline ? 1 : 0);  // the reader takes one off
    const int error = errno;
    if (::close(file) != 0) return false;
    errno = error;
    return good;
}

}  // namespace

int property_get(const char* key, char* value, const char* default_value) {
    size_t length = readValue(key, value);
    if (length == 0 && default_value != nullptr) {
        length = strnlen(default_value, kMaxLength);
        memcpy(value, default_value, length);
        value[length] = '\0';
    }
    return static_cast<int>(length);
}

// A new file takes the place of the old one by its name: no reader sees it half written.
int property_set(const char* key, const char* value) {
    if (value == nullptr) value = "";
    const size_t length = strnlen(value, PROPERTY_VALUE_MAX);
    if (!isName(key) || length > kMaxLength) {
        errno = EINVAL;
        return -1;
    }
    char temporary[] = PROPERTY_DIRECTORY ".new-XXXXXX";
    const int file = ::mkostemp(temporary, O_CLOEXEC);
    if (file < 0) return -1;
    char path[kPathSize];
    makePath(key, path);
    if (fillAndClose(file, value, length) && ::rename(temporary, path) == 0) return 0;
    const int error = errno;
    ::unlink(temporary);
    errno = error;
    return -1;
}
