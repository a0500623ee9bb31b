// File primitives on POSIX. A file whose owner may not write to it is read-only, as on Windows;
// temporary files are opened once, exclusively, readable by their owner only.
//
// Everything here is POSIX.1-2008 (getentropy as in POSIX.1-2024), with three parts that only
// Linux has, each with a plain POSIX fallback:
// - nameless temporary files (O_TMPFILE), named for the rename through /proc/self/fd: without
//   them a temporary file has a "kpo" name from the start;
// - the mode a new file gets, read from a nameless probe file: without it a named probe file is
//   made and removed at once;
// - extended attributes and ACLs (<sys/xattr.h>): without them none are copied.
// Nothing here changes process-wide state (no umask changes, no working directory).

#include "platform/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/xattr.h>
#endif

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace KpXml::detail::platform {
namespace {

constexpr mode_t newFileMode = 0666;  // narrowed by the umask or a default ACL
constexpr mode_t privateMode = 0600;
// Set-user-ID, set-group-ID and sticky bits are not carried to a new file: new content should
// not inherit a privilege.
constexpr mode_t permissionBits = 0777;
// Names already taken are retried with fresh random digits this many times.
constexpr int nameAttempts = 100;
// Symbolic links followed to find a target, as the kernel's own limit.
constexpr int maxLinks = 40;

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

// A directory as open() takes it: "" is the current one.
const char* openable(const std::string& directory) { return directory.empty() ? "." : directory.c_str(); }

// A fresh name in directory: "kpo", 8 random bytes as 16 lowercase hexadecimal digits, ".tmp";
// false when the system has no randomness.
bool randomName(const std::string& directory, std::string& name) {
    unsigned char bytes[8];
    if (::getentropy(bytes, sizeof bytes) != 0) return false;
    char digits[17];
    for (std::size_t i = 0; i < sizeof bytes; ++i) std::snprintf(digits + 2 * i, 3, "%02x", bytes[i]);
    name = directory + "kpo" + digits + ".tmp";
    return true;
}

// Creates a file of a fresh "kpo" name in directory, exclusively and never through a link, with
// mode (narrowed by the umask); returns its descriptor, or -1 with errno set.
int createNamed(const std::string& directory, int access, mode_t mode, std::string& path) {
    for (int attempt = 0; attempt < nameAttempts; ++attempt) {
        std::string candidate;
        if (!randomName(directory, candidate)) return -1;
        const int fd = openRetrying(candidate.c_str(), access | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
        if (fd >= 0) {
            path = std::move(candidate);
            return fd;
        }
        if (errno != EEXIST) return -1;  // the directory is missing or refuses the file
    }
    errno = EEXIST;
    return -1;
}

// The name through which the nameless file fd can be reached (Linux).
std::string descriptorPath(int fd) { return "/proc/self/fd/" + std::to_string(fd); }

// Creates a nameless file in directory with mode (Linux O_TMPFILE). Returns its descriptor; -1
// with errno set when the directory refuses it, and -1 with unsupported set when the system or
// the file system cannot make nameless files (or could not name one later, without /proc).
int createNameless(const std::string& directory, int access, mode_t mode, bool& unsupported) {
    unsupported = true;
#ifdef O_TMPFILE
    const int fd = openRetrying(openable(directory), O_TMPFILE | access, mode);
    if (fd < 0) {
        // EISDIR: a kernel without O_TMPFILE; EOPNOTSUPP (or EINVAL): a file system without it.
        unsupported = errno == EISDIR || errno == EOPNOTSUPP || errno == EINVAL;
        return -1;
    }
    if (::access(descriptorPath(fd).c_str(), F_OK) == 0) {
        unsupported = false;
        return fd;
    }
    closeDescriptor(fd);
#else
    (void)directory, (void)access, (void)mode;
#endif
    return -1;
}

// The permission bits a new file made in directory gets: 0666 less the umask, or as the
// directory's default ACL says. Read from a probe file made there with mode 0666, so that the
// umask is never changed (which would affect files other threads create meanwhile). The probe
// is nameless where possible; otherwise named, empty and removed at once. 0600 when no probe can
// be made.
mode_t newFileModeIn(const std::string& directory) {
    bool unsupported = false;
    std::string probe;
    int fd = createNameless(directory, O_WRONLY, newFileMode, unsupported);
    if (fd < 0 && unsupported) {
        fd = createNamed(directory, O_WRONLY, newFileMode, probe);
        if (fd >= 0) ::unlink(probe.c_str());
    }
    if (fd < 0) return privateMode;
    struct stat status {};
    const bool known = ::fstat(fd, &status) == 0;
    closeDescriptor(fd);
    return known ? status.st_mode & permissionBits : privateMode;
}

// Copies the extended attributes of the file target to the open file fd (Linux): user.*,
// security.* and trusted.* where the process may set them, and ACLs, which are the attributes
// system.posix_acl_access and system.posix_acl_default. An attribute the file system or the
// process's rights refuse is skipped. An access ACL that fd inherited from its directory's default
// ACL, where target has none, is removed, so that target's permission bits alone decide.
void copyExtendedAttributes(const std::string& target, int fd) {
#ifdef __linux__
    constexpr const char* accessAcl = "system.posix_acl_access";
    std::vector<char> names;
    ssize_t size = ::listxattr(target.c_str(), nullptr, 0);
    while (size > 0) {
        names.resize(static_cast<std::size_t>(size));
        size = ::listxattr(target.c_str(), names.data(), names.size());
        if (size >= 0 || errno != ERANGE) break;
        size = ::listxattr(target.c_str(), nullptr, 0);  // grew meanwhile
    }
    names.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    bool hasAccessAcl = false;
    std::vector<char> value;
    for (std::size_t at = 0; at < names.size(); at += std::strlen(names.data() + at) + 1) {
        const char* name = names.data() + at;
        hasAccessAcl = hasAccessAcl || std::strcmp(name, accessAcl) == 0;
        const ssize_t length = ::getxattr(target.c_str(), name, nullptr, 0);
        if (length < 0) continue;
        value.resize(static_cast<std::size_t>(length));
        const ssize_t got = ::getxattr(target.c_str(), name, value.data(), value.size());
        if (got < 0) continue;
        ::fsetxattr(fd, name, value.data(), static_cast<std::size_t>(got), 0);
    }
    if (!hasAccessAcl) ::fremovexattr(fd, accessAcl);
#else
    (void)target, (void)fd;
#endif
}

bool isReadOnly(const struct stat& status) { return (status.st_mode & S_IWUSR) == 0; }

}  // namespace

std::error_code lastSystemError() { return {errno, std::generic_category()}; }

bool isPathSeparator(char c) { return c == '/'; }

bool getTemporaryDirectory(std::string& directory) {
    const char* variable = std::getenv("TMPDIR");
    directory = variable != nullptr && *variable != '\0' ? variable : "/tmp";
    if (directory.back() != '/') directory += '/';
    return directory.size() < maxPathBuffer;
}

bool createTemporaryFile(const std::string& directory, std::string& path, NativeFile& file, std::error_code& error) {
    file.close();
    bool unsupported = false;
    int fd = createNameless(directory, O_RDWR, privateMode, unsupported);
    if (fd >= 0) {
        path = descriptorPath(fd);
    } else if (unsupported) {
        fd = createNamed(directory, O_RDWR, privateMode, path);
    }
    if (fd < 0) {
        error = lastSystemError();
        return false;
    }
    file.handle = fd;
    file.forWriting = true;
    file.nameless = !unsupported;
    file.failure.clear();
    return true;
}

bool nameTemporaryFile(NativeFile& file, const std::string& directory, std::string& path, std::error_code& error) {
    const std::string reach = descriptorPath(static_cast<int>(file.handle));
    for (int attempt = 0; attempt < nameAttempts; ++attempt) {
        std::string candidate;
        if (!randomName(directory, candidate)) break;
        if (::linkat(AT_FDCWD, reach.c_str(), AT_FDCWD, candidate.c_str(), AT_SYMLINK_FOLLOW) == 0) {
            path = std::move(candidate);
            file.nameless = false;
            return true;
        }
        if (errno != EEXIST) break;
    }
    error = lastSystemError();
    return false;
}

bool resolveTarget(const std::string& target, std::string& resolved, TargetKind& kind, std::error_code& error) {
    resolved = target;
    for (int links = 0;; ++links) {
        if (isPathTooLong(resolved)) {
            error = std::make_error_code(std::errc::filename_too_long);
            return false;
        }
        struct stat status {};
        if (::lstat(resolved.c_str(), &status) != 0) {
            // A missing file (or directory, which creating the temporary file then reports).
            if (errno != ENOENT || resolved.empty()) {
                error = lastSystemError();
                return false;
            }
            kind = TargetKind::missing;
            return true;
        }
        if (S_ISDIR(status.st_mode)) {
            error = std::make_error_code(std::errc::is_a_directory);
            return false;
        }
        if (S_ISREG(status.st_mode)) {
            if (isReadOnly(status)) {
                error = makeErrorCode(SaveError::readOnlyFile);
                return false;
            }
            kind = TargetKind::regular;
            return true;
        }
        if (!S_ISLNK(status.st_mode)) {
            kind = TargetKind::special;
            return true;
        }
        if (links == maxLinks) {
            error = std::make_error_code(std::errc::too_many_symbolic_link_levels);
            return false;
        }
        // A relative link is relative to the link's directory, which the path as written still
        // reaches (it is never shortened by hand, so ".." goes where the kernel would take it).
        std::vector<char> link(maxPathBuffer);
        const ssize_t length = ::readlink(resolved.c_str(), link.data(), link.size());
        if (length < 0) {
            error = lastSystemError();
            return false;
        }
        const std::string text(link.data(), static_cast<std::size_t>(length));
        resolved = !text.empty() && text[0] == '/' ? text : directoryOf(resolved) + text;
    }
}

bool isReadOnly(const char* path) {
    struct stat status {};
    return ::lstat(path, &status) == 0 && S_ISREG(status.st_mode) && isReadOnly(status);
}

void removeTemporaryFile(const std::string& path) { ::unlink(path.c_str()); }

bool moveReplacing(const char* from, const char* to, bool, std::error_code& error) {
    if (::rename(from, to) == 0) return true;
    error = lastSystemError();
    return false;
}

std::string directoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

void syncDirectoryOf(const std::string& path) {
    const int fd = openRetrying(openable(directoryOf(path)), O_RDONLY | O_DIRECTORY);
    if (fd < 0) return;
    while (::fsync(fd) != 0 && errno == EINTR) {
    }
    closeDescriptor(fd);
}

bool getShortPath(const char*, std::string&) {
    return false;  // no short names here
}

bool NativeFile::openForRead(const char* path) {
    close();
    if (!adopt(openRetrying(path, O_RDONLY), false)) return false;
    // A directory opens here but not on Windows; refuse it as Windows does.
    struct stat status {};
    if (::fstat(static_cast<int>(handle), &status) != 0 || S_ISDIR(status.st_mode)) {
        closeHandle();
        return fail(std::make_error_code(std::errc::is_a_directory));
    }
    return true;
}

bool NativeFile::openInPlace(const char* path) {
    close();
    struct stat status {};
    if (::stat(path, &status) != 0) return fail(lastSystemError());
    // A FIFO opened for writing waits for a reader; opened without waiting, one that has none
    // fails (ENXIO) at once. Writes then wait as a shell's would.
    const bool fifo = S_ISFIFO(status.st_mode);
    if (!adopt(openRetrying(path, O_WRONLY | O_TRUNC | O_NOCTTY | (fifo ? O_NONBLOCK : 0)), true)) return false;
    const int fd = static_cast<int>(handle);
    if (fifo) ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    return true;
}

std::ptrdiff_t NativeFile::read(char* data, std::size_t size) {
    if (!isOpen()) return -1;
    if (size > SSIZE_MAX) size = SSIZE_MAX;
    ssize_t count;
    do {
        count = ::read(static_cast<int>(handle), data, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) fail(lastSystemError());
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
    if (!isOpen()) return false;
    return ::lseek(static_cast<int>(handle), 0, SEEK_SET) == 0 || fail(lastSystemError());
}

bool NativeFile::syncToDisk() {
    int result;
    do {
        result = ::fsync(static_cast<int>(handle));
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool NativeFile::takeMetadataOf(const std::string& target, const std::string& directory) {
    if (!isOpen()) return false;
    const int fd = static_cast<int>(handle);
    struct stat old {};
    if (target.empty() || ::stat(target.c_str(), &old) != 0) {
        // A new file: its group already follows the directory's rules (set-group-ID), as the
        // file was made there.
        return ::fchmod(fd, newFileModeIn(directory)) == 0 || fail(lastSystemError());
    }
    struct stat own {};
    if (::fstat(fd, &own) == 0 && (own.st_uid != old.st_uid || own.st_gid != old.st_gid)) {
        // The owner only where permitted (root); else the group, where the process belongs to it.
        if (::fchown(fd, old.st_uid, old.st_gid) != 0) ::fchown(fd, static_cast<uid_t>(-1), old.st_gid);
    }
    copyExtendedAttributes(target, fd);
    // Last: changing the owner clears set-ID bits, and the permission bits settle the ACL's mask.
    return ::fchmod(fd, old.st_mode & permissionBits) == 0 || fail(lastSystemError());
}

bool NativeFile::closeHandle() {
    const int fd = static_cast<int>(handle);
    handle = closedHandle;
    nameless = false;
    return closeDescriptor(fd);
}

}  // namespace KpXml::detail::platform
