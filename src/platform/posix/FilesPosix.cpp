// File primitives on POSIX. A file whose owner may not write to it is read-only, as on Windows;
// temporary files are opened once, exclusively, readable by their owner only.

#include "platform/Files.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace KpXml::detail::platform {
namespace {

constexpr mode_t newFileMode = 0666;  // narrowed by the umask
constexpr mode_t privateMode = 0600;
constexpr mode_t permissionBits = 0777;  // not set-id bits: the file is new
// Names already taken are retried with fresh random digits this many times.
constexpr int nameAttempts = 100;

int openRetrying(const char* path, int flags, mode_t mode = 0) {
    int fd;
    do {
        fd = ::open(path, flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

// Closes fd; false when the close reported an error (data may not have been stored).
bool closeDescriptor(int fd) {
    // After EINTR the descriptor may already be closed (it is on Linux), so a second close could
    // hit a descriptor another thread has just opened: close once.
    return ::close(fd) == 0;
}

// 8 random bytes as 16 lowercase hexadecimal digits; false when the system has no randomness.
bool randomDigits(char (&digits)[17]) {
    unsigned char bytes[8];
    std::size_t filled = 0;
    while (filled < sizeof bytes) {
        const ssize_t count = ::getrandom(bytes + filled, sizeof bytes - filled, 0);
        if (count < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        filled += static_cast<std::size_t>(count);
    }
    for (std::size_t i = 0; i < sizeof bytes; ++i) std::snprintf(digits + 2 * i, 3, "%02x", bytes[i]);
    return true;
}

// The process's umask, read without changing it (changing it, even for a moment, would affect
// files that other threads create meanwhile); Linux shows it in /proc.
mode_t currentUmask() {
    if (FILE* status = std::fopen("/proc/self/status", "re")) {
        char line[256];
        unsigned mask = 0;
        bool found = false;
        while (!found && std::fgets(line, sizeof line, status) != nullptr) {
            found = std::sscanf(line, "Umask: %o", &mask) == 1;
        }
        std::fclose(status);
        if (found) return static_cast<mode_t>(mask);
    }
    const mode_t mask = ::umask(022);
    ::umask(mask);
    return mask;
}

bool isReadOnly(const struct stat& status) {
    return !S_ISLNK(status.st_mode) && (status.st_mode & S_IWUSR) == 0;
}

}  // namespace

bool getTemporaryDirectory(std::string& directory) {
    const char* variable = std::getenv("TMPDIR");
    directory = variable != nullptr && *variable != '\0' ? variable : "/tmp";
    if (directory.back() != '/') directory += '/';
    return directory.size() < maxPathBuffer;
}

bool createTemporaryFile(const std::string& directory, std::string& path, NativeFile& file) {
    file.close();
    for (int attempt = 0; attempt < nameAttempts; ++attempt) {
        char digits[17];
        if (!randomDigits(digits)) return false;
        std::string candidate = directory + "kpo" + digits + ".tmp";
        const int fd = openRetrying(candidate.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, privateMode);
        if (fd >= 0) {
            file.handle = fd;
            file.forWriting = true;
            path = std::move(candidate);
            return true;
        }
        if (errno != EEXIST) return false;  // the directory is missing or not writable
    }
    return false;
}

bool isReadOnly(const char* path) {
    struct stat status {};
    return ::lstat(path, &status) == 0 && isReadOnly(status);
}

bool deleteFile(const char* path) {
    struct stat status {};
    if (::lstat(path, &status) != 0) return false;
    if (isReadOnly(status)) return false;
    return ::unlink(path) == 0;
}

MoveResult moveReplacing(const char* from, const char* to) {
    if (::rename(from, to) == 0) return MoveResult::moved;
    return errno == EXDEV ? MoveResult::otherDevice : MoveResult::failed;
}

std::string directoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

void syncDirectoryOf(const std::string& path) {
    const std::string directory = directoryOf(path);
    const int fd = openRetrying(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY);
    if (fd < 0) return;
    while (::fsync(fd) != 0 && errno == EINTR) {
    }
    closeDescriptor(fd);
}

bool getShortPath(const char*, std::string&) {
    return false;  // no short names here
}

bool NativeFile::openForRead(const char* path, std::error_code& error) {
    close();
    const int fd = openRetrying(path, O_RDONLY);
    if (fd < 0) {
        error.assign(errno, std::generic_category());
        return false;
    }
    forWriting = false;
    // A directory opens here but not on Windows; refuse it as Windows does.
    struct stat status {};
    if (::fstat(fd, &status) != 0 || S_ISDIR(status.st_mode)) {
        error = S_ISDIR(status.st_mode) ? std::make_error_code(std::errc::is_a_directory)
                                        : std::error_code(errno, std::generic_category());
        closeDescriptor(fd);
        return false;
    }
    handle = fd;
    return true;
}

std::ptrdiff_t NativeFile::read(char* data, std::size_t size) {
    if (!isOpen()) return -1;
    if (size > SSIZE_MAX) size = SSIZE_MAX;
    ssize_t count;
    do {
        count = ::read(static_cast<int>(handle), data, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

bool NativeFile::writeAll(const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::write(static_cast<int>(handle), data, size > SSIZE_MAX ? SSIZE_MAX : size);
        if (count < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool NativeFile::seekToStart() {
    return isOpen() && ::lseek(static_cast<int>(handle), 0, SEEK_SET) == 0;
}

bool NativeFile::syncToDisk() {
    int result;
    do {
        result = ::fsync(static_cast<int>(handle));
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool NativeFile::takePermissionsOf(const char* target) {
    if (!isOpen()) return false;
    struct stat status {};
    mode_t mode = newFileMode & ~currentUmask();
    if (::stat(target, &status) == 0) {
        if (isReadOnly(status)) return true;
        mode = status.st_mode & permissionBits;
    }
    return ::fchmod(static_cast<int>(handle), mode) == 0;
}

bool NativeFile::closeHandle() {
    const int fd = static_cast<int>(handle);
    handle = closedHandle;
    return closeDescriptor(fd);
}

}  // namespace KpXml::detail::platform
