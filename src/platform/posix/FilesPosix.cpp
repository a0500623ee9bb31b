// File primitives on POSIX, behaving as the Windows ANSI file functions do: a file whose owner
// may not write to it is read-only, and a move never replaces an existing file.

#include "platform/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace kpxml::platform {
namespace {

constexpr mode_t kNewFileMode = 0666;  // narrowed by the umask
constexpr const char* kTemporaryDirectoryVariables[] = {"TMPDIR"};

int openRetrying(const char* path, int flags, mode_t mode = 0) {
    int fd;
    do {
        fd = ::open(path, flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

ssize_t readRetrying(int fd, char* data, std::size_t size) {
    if (size > SSIZE_MAX) size = SSIZE_MAX;
    ssize_t count;
    do {
        count = ::read(fd, data, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

bool writeAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::write(fd, data, size > SSIZE_MAX ? SSIZE_MAX : size);
        if (count < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

constexpr std::size_t kCopyChunk = 64 * 1024;

// Copies everything from the descriptor in to the descriptor out, through chunk.
bool copyContent(int in, int out, char* chunk) {
    for (;;) {
        const ssize_t count = readRetrying(in, chunk, kCopyChunk);
        if (count == 0) return true;
        if (count < 0 || !writeAll(out, chunk, static_cast<std::size_t>(count))) return false;
    }
}

// Closes fd; false when the close reported an error (data may not have been stored).
bool closeDescriptor(int fd) {
    // After EINTR the descriptor may already be closed (it is on Linux), so a second close could
    // hit a descriptor another thread has just opened: close once.
    return ::close(fd) == 0;
}

// Copies the file from into to, opened with O_CREAT and createFlags (O_TRUNC: replacing its
// content; O_EXCL: only as a new file). created tells whether to was opened.
bool copyInto(const char* from, const char* to, int createFlags, mode_t mode, bool& created) {
    created = false;
    const std::unique_ptr<char[]> chunk(new char[kCopyChunk]);
    const int in = openRetrying(from, O_RDONLY);
    if (in < 0) return false;
    const int out = openRetrying(to, O_WRONLY | O_CREAT | createFlags, mode);
    if (out < 0) {
        closeDescriptor(in);
        return false;
    }
    created = true;
    const bool copied = copyContent(in, out, chunk.get());
    closeDescriptor(in);
    return closeDescriptor(out) && copied;
}

bool isReadOnly(const struct stat& status) {
    return !S_ISLNK(status.st_mode) && (status.st_mode & S_IWUSR) == 0;
}

}  // namespace

bool getTemporaryDirectory(std::string& directory) {
    const char* variable = std::getenv("TMPDIR");
    directory = variable != nullptr && *variable != '\0' ? variable : "/tmp";
    if (directory.back() != '/') directory += '/';
    return directory.size() < kMaxPathBuffer;
}

bool createTemporaryFile(const std::string& directory, std::string& path) {
    // Like GetTempFileNameA: start at a number taken from the clock and count up until a name is
    // free, using every four-digit number except 0000 once.
    struct timespec now {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const unsigned long seed = static_cast<unsigned long>(now.tv_nsec) ^
                               (static_cast<unsigned long>(now.tv_sec) << 7) ^
                               static_cast<unsigned long>(::getpid());
    unsigned number = static_cast<unsigned>(seed % 0xFFFFu);
    for (unsigned tries = 0; tries < 0xFFFFu; ++tries, number = (number + 1) % 0xFFFFu) {
        char name[16];
        std::snprintf(name, sizeof name, "kpo%04x.tmp", number + 1);
        std::string candidate = directory + name;
        const int fd = openRetrying(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL, kNewFileMode);
        if (fd >= 0) {
            if (!closeDescriptor(fd)) {
                ::unlink(candidate.c_str());
                return false;
            }
            path = std::move(candidate);
            return true;
        }
        if (errno != EEXIST) return false;  // the directory is missing or not writable
    }
    return false;
}

bool exists(const char* path) {
    struct stat status {};
    return ::stat(path, &status) == 0;
}

bool copyFile(const char* from, const char* to) {
    struct stat status {};
    if (::lstat(to, &status) == 0 && isReadOnly(status)) return false;
    bool opened;
    return copyInto(from, to, O_TRUNC, kNewFileMode, opened);
}

bool deleteFile(const char* path) {
    struct stat status {};
    if (::lstat(path, &status) != 0) return false;
    if (isReadOnly(status)) return false;
    return ::unlink(path) == 0;
}

bool moveFile(const char* from, const char* to) {
    // rename() would replace an existing target; a hard link is refused when the name is taken.
    if (::link(from, to) == 0) {
        ::unlink(from);
        return true;
    }
    switch (errno) {
        case EXDEV:   // another file system
        case EPERM:   // a file system without hard links
        case EMLINK:
        case ENOSYS:
#if defined(EOPNOTSUPP)
        case EOPNOTSUPP:
#endif
            break;
        default:
            return false;  // taken, missing directory, no permission
    }
    struct stat status {};
    if (::stat(from, &status) != 0) return false;
    bool created;
    if (!copyInto(from, to, O_EXCL, status.st_mode & 07777, created)) {
        if (created) ::unlink(to);  // a partial copy; never a file that was there before
        return false;
    }
    ::unlink(from);
    return true;
}

bool getShortPath(const char*, std::string&) {
    return false;  // no short names here
}

bool setReadOnly(const char* path, bool readOnly) {
    struct stat status {};
    if (::stat(path, &status) != 0) return false;
    const mode_t mode = readOnly ? (status.st_mode & 07555) : (status.st_mode & 07777) | S_IWUSR;
    return ::chmod(path, mode) == 0;
}

SavedVariables redirectTemporaryDirectory(const std::string& directory) {
    SavedVariables saved;
    for (const char* name : kTemporaryDirectoryVariables) {
        const char* value = std::getenv(name);
        saved.variables.push_back({name, value != nullptr, value != nullptr ? value : ""});
        ::setenv(name, directory.c_str(), 1);
    }
    return saved;
}

void restoreVariables(const SavedVariables& saved) {
    for (const SavedVariables::Variable& variable : saved.variables) {
        if (variable.wasSet) {
            ::setenv(variable.name.c_str(), variable.value.c_str(), 1);
        } else {
            ::unsetenv(variable.name.c_str());
        }
    }
}

bool NativeFile::openForWrite(const char* path, bool append) {
    close();
    const int fd = openRetrying(path, O_WRONLY | O_CREAT | (append ? O_APPEND : O_TRUNC), kNewFileMode);
    if (fd < 0) return false;
    handle = fd;
    return true;
}

bool NativeFile::openForRead(const char* path) {
    close();
    const int fd = openRetrying(path, O_RDONLY);
    if (fd < 0) return false;
    // A directory opens here but not on Windows; refuse it as Windows does.
    struct stat status {};
    if (::fstat(fd, &status) != 0 || S_ISDIR(status.st_mode)) {
        closeDescriptor(fd);
        return false;
    }
    handle = fd;
    return true;
}

std::ptrdiff_t NativeFile::read(char* data, std::size_t size) {
    if (!isOpen()) return -1;
    return readRetrying(static_cast<int>(handle), data, size);
}

bool NativeFile::write(const char* data, std::size_t size) {
    return isOpen() && writeAll(static_cast<int>(handle), data, size);
}

bool NativeFile::seekToStart() {
    return isOpen() && ::lseek(static_cast<int>(handle), 0, SEEK_SET) == 0;
}

bool NativeFile::flushToDisk() {
    if (!isOpen()) return false;
    int result;
    do {
        result = ::fsync(static_cast<int>(handle));
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool NativeFile::close() {
    if (!isOpen()) return false;
    const int fd = static_cast<int>(handle);
    handle = kClosed;
    return closeDescriptor(fd);
}

}  // namespace kpxml::platform
