#include "Landlock.h"

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>

namespace launcher {
namespace {

// The headers of an older kernel lack it.
constexpr uint64_t kTruncate = 1U << 14;

constexpr uint64_t kRightsOfFiles = LANDLOCK_ACCESS_FS_WRITE_FILE | kTruncate;

// All that changes files, as far as this kernel can tell it apart.
uint64_t rightsToWrite() {
    const long version =
            ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1) return 0;
    uint64_t rights = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR |
                      LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_CHAR |
                      LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG |
                      LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO |
                      LANDLOCK_ACCESS_FS_MAKE_BLOCK | LANDLOCK_ACCESS_FS_MAKE_SYM;
    if (version >= 2) rights |= LANDLOCK_ACCESS_FS_REFER;
    if (version >= 3) rights |= kTruncate;
    return rights;
}

void allow(int ruleset, uint64_t rights, const std::string& path) {
    struct stat status = {};
    const int file = ::open(path.c_str(), O_PATH | O_CLOEXEC);
    if (file < 0) return;
    if (::fstat(file, &status) == 0) {
        const bool isDirectory = S_ISDIR(status.st_mode);
        const landlock_path_beneath_attr rule = {
                .allowed_access = isDirectory ? rights : rights & kRightsOfFiles,
                .parent_fd = file};
        ::syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
    }
    ::close(file);
}

}  // namespace

bool allowWritingOnlyBelow(const std::vector<std::string>& paths) {
    const landlock_ruleset_attr handled = {.handled_access_fs = rightsToWrite()};
    if (handled.handled_access_fs == 0) return false;
    const auto ruleset =
            static_cast<int>(::syscall(SYS_landlock_create_ruleset, &handled, sizeof(handled), 0));
    for (const auto& path : paths) allow(ruleset, handled.handled_access_fs, path);
    const bool done = ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                      ::syscall(SYS_landlock_restrict_self, ruleset, 0) == 0;
    ::close(ruleset);
    return done;
}

}  // namespace launcher
