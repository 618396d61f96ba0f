// Advisory locks over runtime descriptors.
#include "utl_flock.h"

#include "utl_FilePlatform.h"

#include <cerrno>

namespace {

using vlt::detail::FileLockKind;

// 0xFFFF0000 bytes from the start.
constexpr int64_t lockedLength = 0xFFFF0000LL;

struct LockRequest {
    FileLockKind kind;
    bool wait;
};

bool RequestOf(int op, LockRequest& request) {
    switch (op) {
    case 1:
        request = {FileLockKind::Shared, true};
        return true;
    case 2:
        request = {FileLockKind::Exclusive, true};
        return true;
    case 5:
        request = {FileLockKind::Shared, false};
        return true;
    case 6:
        request = {FileLockKind::Exclusive, false};
        return true;
    case 8:
        request = {FileLockKind::Unlock, false};
        return true;
    default:
        return false;
    }
}

} // namespace

int utl_flock(int fd, int op) {
    LockRequest request{};
    if (!RequestOf(op, request)) {
        errno = EINVAL;
        return -1;
    }
    const int error = vlt::detail::FileLockRange(fd, request.kind, request.wait, lockedLength);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return 0;
}
