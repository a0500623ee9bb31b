#ifndef KPXML_SUPPORT_POSIXFILES_H
#define KPXML_SUPPORT_POSIXFILES_H

// What the POSIX-only save tests need from the system: owners, modes, the umask, extended
// attributes and ACLs, FIFOs, device nodes and private mount namespaces (Linux). Built only
// where there is POSIX.

#include <functional>
#include <string>

namespace KpXml::test::posix {

// The owner and group of path (following links); false when it cannot be looked at.
bool ownerOf(const std::string& path, unsigned& user, unsigned& group);
// Gives path that owner and group; false when refused.
bool setOwner(const std::string& path, unsigned user, unsigned group);
// True when the process may give files to other users (root).
bool mayChangeOwners();
// Sets the umask; returns the previous one.
unsigned setUmask(unsigned mask);
// The permission bits of path (following links), with set-ID and sticky bits; 0 when missing.
unsigned modeOf(const std::string& path);

// Sets the extended attribute name of path to value; false with reason (the system's words)
// when the file system or the process's rights refuse it.
bool setAttribute(const std::string& path, const std::string& name, const std::string& value, std::string& reason);
// The extended attribute name of path; empty when missing.
std::string attribute(const std::string& path, const std::string& name);
// The value of system.posix_acl_access that gives the owner read and write, the group and the
// user user read, and others nothing (mask read), as setfacl -m u:USER:r would.
std::string aclGrantingRead(unsigned user);

// The reading end of a FIFO, opened without waiting for a writer, so that a writer finds a reader.
class FifoReader {
public:
    explicit FifoReader(const std::string& path);
    ~FifoReader();
    FifoReader(const FifoReader&) = delete;
    FifoReader& operator=(const FifoReader&) = delete;
    bool isOpen() const { return fd >= 0; }
    // What writers have written and closed; empty when nothing waits.
    std::string readAll();

private:
    int fd;
};

// Makes a FIFO at path; false when refused.
bool makeFifo(const std::string& path);
// Makes a device node at path with the kind and device numbers of model (e.g. "/dev/null");
// false with reason when refused. model itself is only looked at.
bool makeDeviceLike(const std::string& path, const std::string& model, std::string& reason);
// True when path is a device node with model's kind and numbers.
bool isDeviceLike(const std::string& path, const std::string& model);

// Runs body in a child process with a private mount namespace (Linux), so that it may mount file
// systems nobody else sees. Returns body's result, or noNamespace with reason set when no
// namespace could be made (not root, or not Linux), or -1 when the child did not end normally.
constexpr int noNamespace = 77;
int runWithPrivateMounts(const std::function<int()>& body, std::string& reason);
// Mounts a small tmpfs on directory, in the calling process's mount namespace; false when refused.
bool mountTmpfs(const std::string& directory);
// Makes the file system mounted on directory read-only; false when refused.
bool remountReadOnly(const std::string& directory);

}  // namespace KpXml::test::posix

#endif  // KPXML_SUPPORT_POSIXFILES_H
