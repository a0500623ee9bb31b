// What the POSIX-only save tests need from the system (see PosixFiles.h).

#include "PosixFiles.h"

#include <sched.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/mount.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#endif

#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace KpXml::test::posix {
namespace {

std::string systemReason() { return std::strerror(errno); }

// Appends an ACL entry in the kernel's little-endian form: tag, permissions, id.
void appendAclEntry(std::string& acl, std::uint16_t tag, std::uint16_t permissions, std::uint32_t id) {
    const auto put = [&](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) acl += static_cast<char>((value >> (8 * i)) & 0xff);
    };
    put(tag, 2);
    put(permissions, 2);
    put(id, 4);
}

}  // namespace

bool ownerOf(const std::string& path, unsigned& user, unsigned& group) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return false;
    user = status.st_uid;
    group = status.st_gid;
    return true;
}

bool setOwner(const std::string& path, unsigned user, unsigned group) { return ::chown(path.c_str(), user, group) == 0; }

bool mayChangeOwners() { return ::geteuid() == 0; }

unsigned setUmask(unsigned mask) { return ::umask(static_cast<mode_t>(mask)); }

unsigned modeOf(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

bool setAttribute(const std::string& path, const std::string& name, const std::string& value, std::string& reason) {
#ifdef __linux__
    if (::setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0) == 0) return true;
    reason = systemReason();
#else
    reason = "no extended attributes on this system";
#endif
    return false;
}

std::string attribute(const std::string& path, const std::string& name) {
#ifdef __linux__
    char value[4096];
    const ssize_t size = ::getxattr(path.c_str(), name.c_str(), value, sizeof value);
    if (size > 0) return std::string(value, static_cast<std::size_t>(size));
#endif
    return std::string();
}

std::string aclGrantingRead(unsigned user) {
    constexpr std::uint32_t undefinedId = 0xffffffff;
    std::string acl;
    for (int i = 0; i < 4; ++i) acl += static_cast<char>(i == 0 ? 2 : 0);  // version 2
    appendAclEntry(acl, 0x01, 6, undefinedId);  // the owner: rw
    appendAclEntry(acl, 0x02, 4, user);         // the user: r
    appendAclEntry(acl, 0x04, 4, undefinedId);  // the group: r
    appendAclEntry(acl, 0x10, 4, undefinedId);  // the mask: r
    appendAclEntry(acl, 0x20, 0, undefinedId);  // others: nothing
    return acl;
}

FifoReader::FifoReader(const std::string& path) : fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {}

FifoReader::~FifoReader() {
    if (fd >= 0) ::close(fd);
}

std::string FifoReader::readAll() {
    std::string text;
    char chunk[4096];
    ssize_t size;
    while ((size = ::read(fd, chunk, sizeof chunk)) > 0) text.append(chunk, static_cast<std::size_t>(size));
    return text;
}

bool makeFifo(const std::string& path) { return ::mkfifo(path.c_str(), 0644) == 0; }

bool makeDeviceLike(const std::string& path, const std::string& model, std::string& reason) {
    struct stat status {};
    if (::stat(model.c_str(), &status) != 0 || ::mknod(path.c_str(), (status.st_mode & S_IFMT) | 0666, status.st_rdev) != 0) {
        reason = systemReason();
        return false;
    }
    return true;
}

bool isDeviceLike(const std::string& path, const std::string& model) {
    struct stat made {}, original {};
    return ::lstat(path.c_str(), &made) == 0 && ::stat(model.c_str(), &original) == 0 &&
           (made.st_mode & S_IFMT) == (original.st_mode & S_IFMT) && made.st_rdev == original.st_rdev;
}

int runWithPrivateMounts(const std::function<int()>& body, std::string& reason) {
#ifdef __linux__
    int pipeEnds[2];
    if (::pipe(pipeEnds) != 0) return -1;
    const pid_t child = ::fork();
    if (child < 0) return -1;
    if (child == 0) {
        ::close(pipeEnds[0]);
        if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
            const std::string why = systemReason();
            (void)!::write(pipeEnds[1], why.data(), why.size());
            ::_exit(noNamespace);
        }
        ::_exit(body());
    }
    ::close(pipeEnds[1]);
    char why[256];
    const ssize_t size = ::read(pipeEnds[0], why, sizeof why);
    ::close(pipeEnds[0]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(status)) return -1;
    if (WEXITSTATUS(status) == noNamespace) reason = size > 0 ? std::string(why, static_cast<std::size_t>(size)) : "unknown";
    return WEXITSTATUS(status);
#else
    (void)body;
    reason = "no mount namespaces on this system";
    return noNamespace;
#endif
}

#ifdef __linux__
bool mountTmpfs(const std::string& directory) { return ::mount("tmpfs", directory.c_str(), "tmpfs", 0, "size=1m") == 0; }

bool remountReadOnly(const std::string& directory) {
    return ::mount(nullptr, directory.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}
#else
// Not reached: runWithPrivateMounts runs no body here.
bool mountTmpfs(const std::string&) { return false; }
bool remountReadOnly(const std::string&) { return false; }
#endif

}  // namespace KpXml::test::posix
