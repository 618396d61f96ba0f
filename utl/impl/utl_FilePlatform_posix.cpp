// The files facility on POSIX: file descriptors from open(2); the sharing of the open modes
// through an open-file-description lock; range locks with the same kind of lock; network file
// systems recognised by statfs.
#include "utl_FilePlatform.h"

#include "omn_System.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

namespace vlt::detail {
namespace {

// The file systems whose files live on another machine.
constexpr decltype(statfs::f_type) networkFileSystems[] = {
    NFS_SUPER_MAGIC, SMB_SUPER_MAGIC, CIFS_SUPER_MAGIC, SMB2_SUPER_MAGIC, CODA_SUPER_MAGIC,
    AFS_SUPER_MAGIC, AFS_FS_MAGIC,    CEPH_SUPER_MAGIC, V9FS_MAGIC,       NCP_SUPER_MAGIC,
};

// A writer holds a write lock on the last byte that a lock can name, where no range lock of
// the clients reaches: a second writer's claim fails, readers claim nothing.
constexpr off_t writerClaimStart = std::numeric_limits<off_t>::max() - 1;

int Descriptor(FileHandle handle) {
    return static_cast<int>(handle);
}

int LockRange(int descriptor, short type, off_t start, off_t length, bool wait) {
    struct flock range {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = start;
    range.l_len = length;
    while (fcntl(descriptor, wait ? F_OFD_SETLKW : F_OFD_SETLK, &range) != 0) {
        if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

// A writer already there is a busy file, as the system words a refused share. A file system
// without locks admits the writer unguarded rather than refusing every writer.
bool ClaimWriter(int descriptor) {
    const int error = LockRange(descriptor, F_WRLCK, writerClaimStart, 1, false);
    if (error == EAGAIN || error == EACCES) {
        errno = EBUSY;
        return false;
    }
    return true;
}

bool Fail(int descriptor) {
    const int error = errno;
    close(descriptor);
    errno = error;
    return false;
}

} // namespace

bool FileOpen(const char* name, FileOpenMode mode, FileHandle& handle) {
    const int flags = mode == FileOpenMode::Read    ? O_RDONLY
                      : mode == FileOpenMode::Write ? O_RDWR | O_CREAT
                                                    : O_RDWR;
    const int descriptor = open(name, flags | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        return false;
    }
    // Truncating waits for the claim, so that a refused writer leaves the file alone.
    if (mode != FileOpenMode::Read &&
        (!ClaimWriter(descriptor) || (mode == FileOpenMode::Write && ftruncate(descriptor, 0)))) {
        return Fail(descriptor);
    }
    handle = descriptor;
    return true;
}

bool FileClose(FileHandle handle) {
    return close(Descriptor(handle)) == 0;
}

bool FileRead(FileHandle handle, char* bytes, int count, int& done) {
    done = 0;
    while (done < count) {
        const long got = SystemReadSome(Descriptor(handle), bytes + done,
                                        static_cast<std::size_t>(count - done));
        if (got <= 0) {
            return got == 0;
        }
        done += static_cast<int>(got);
    }
    return true;
}

bool FileWrite(FileHandle handle, const char* bytes, int count, int& done) {
    done =
        static_cast<int>(SystemWrite(Descriptor(handle), bytes, static_cast<std::size_t>(count)));
    return done == count;
}

bool FileReadSome(FileHandle handle, char* bytes, int count, int& done) {
    const long got = SystemReadSome(Descriptor(handle), bytes, static_cast<std::size_t>(count));
    done = got > 0 ? static_cast<int>(got) : 0;
    return got >= 0;
}

FileHandle FileStandardHandle(FileStandard which) {
    switch (which) {
    case FileStandard::Input:
        return STDIN_FILENO;
    case FileStandard::Output:
        return STDOUT_FILENO;
    case FileStandard::Error:
        break;
    }
    return STDERR_FILENO;
}

bool FileSeek(FileHandle handle, int64_t position) {
    return lseek(Descriptor(handle), position, SEEK_SET) >= 0;
}

bool FileTell(FileHandle handle, int64_t& position) {
    position = lseek(Descriptor(handle), 0, SEEK_CUR);
    return position >= 0;
}

bool FileSize(FileHandle handle, int64_t& size) {
    struct stat status {};
    if (fstat(Descriptor(handle), &status) != 0) {
        return false;
    }
    size = status.st_size;
    return true;
}

bool FileSetEnd(FileHandle handle) {
    int64_t position = 0;
    return FileTell(handle, position) && ftruncate(Descriptor(handle), position) == 0;
}

bool FileFlush(FileHandle handle) {
    return fsync(Descriptor(handle)) == 0;
}

bool FileIsRemote(const char* /*name*/, FileHandle handle) {
    struct statfs volume {};
    if (fstatfs(Descriptor(handle), &volume) != 0) {
        return false;
    }
    for (const auto type : networkFileSystems) {
        if (volume.f_type == type) {
            return true;
        }
    }
    return false;
}

bool FileSizeByName(const char* name, int64_t& size) {
    // Without waiting: a pipe with no writer must not hold the query up.
    const int descriptor = open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        return false;
    }
    struct stat status {};
    const bool known = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    close(descriptor);
    size = status.st_size;
    return known;
}

bool DiskFreeBytes(const char* root, double& bytes) {
    struct statvfs volume {};
    if (statvfs(root, &volume) != 0) {
        return false;
    }
    bytes = static_cast<double>(volume.f_bavail) * static_cast<double>(volume.f_frsize);
    return true;
}

int FileLockRange(int descriptor, FileLockKind kind, bool wait, int64_t length) {
    const short type = kind == FileLockKind::Shared      ? F_RDLCK
                       : kind == FileLockKind::Exclusive ? F_WRLCK
                                                         : F_UNLCK;
    return LockRange(descriptor, type, 0, length, wait);
}

} // namespace vlt::detail
