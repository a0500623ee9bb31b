#ifndef KPXML_PLATFORM_FILES_H
#define KPXML_PLATFORM_FILES_H

// File primitives for safe output and for input: the temporary directory and temporary files
// opened once, the resolution of a save's target, the atomic replacement of a target, deleting,
// short names, a native file handle, and the reasons of failures.
//
// Paths are narrow strings in the ANSI code page. On Windows these are the ANSI file functions
// (GetTempPathA, GetTempFileNameA, GetFileAttributesA, DeleteFileA, ReplaceFileA, MoveFileExA,
// GetShortPathNameA, CreateFileA). On POSIX a file whose owner may not write to it is read-only,
// as a file with the read-only attribute is on Windows, and there are no short names.
//
// Reasons are std::error_codes: a system error as an errno value of std::generic_category on
// every platform (Windows errors are mapped to the errno value that means the same, so both
// builds give the same words), a Windows error without such a value in std::system_category, and
// the library's own reasons (SaveError) in saveErrorCategory().

#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>

namespace KpXml::detail::platform {

// Paths, temporary directory included, must be shorter than this many characters.
constexpr std::size_t maxPathBuffer = 4096;
// No name in a path may be longer than this many characters.
constexpr std::size_t maxNameLength = 255;

// Reasons of the library's own.
enum class SaveError {
    readOnlyFile = 1,  // the target is read-only (equivalent to std::errc::permission_denied)
};
// The category of SaveError: its name is "kpxml.save", its messages "read-only file" ...
const std::error_category& saveErrorCategory();
std::error_code makeErrorCode(SaveError reason);

// The calling thread's last system error (errno, or GetLastError mapped as said above).
std::error_code lastSystemError();

// An open file: a POSIX descriptor or a Windows handle. Closed when destroyed. Other processes
// may open, rename or delete the file while it is open (Windows: deny-none sharing).
class NativeFile {
public:
    NativeFile() = default;
    ~NativeFile() { close(); }
    NativeFile(NativeFile&& other) noexcept
        : handle(other.handle), forWriting(other.forWriting), nameless(other.nameless), failure(other.failure) {
        other.handle = closedHandle;
    }
    NativeFile& operator=(NativeFile&& other) noexcept;
    NativeFile(const NativeFile&) = delete;
    NativeFile& operator=(const NativeFile&) = delete;

    // Opens path for reading. False, with the reason in error(), when it cannot be opened: every
    // platform gives no_such_file_or_directory for a missing file or folder, is_a_directory for a
    // directory and permission_denied for a refusal (std::errc values).
    bool openForRead(const char* path);
    // Opens the existing file path for writing in place, emptying it, as a shell's "> path"
    // does; for a FIFO without a reader, fails (POSIX: ENXIO) rather than waiting for one.
    bool openInPlace(const char* path);
    bool isOpen() const { return handle != closedHandle; }
    // True for a temporary file that disappears when closed (see createTemporaryFile).
    bool isNameless() const { return nameless; }

    // Reads up to size bytes into data. Returns how many were read: 0 at the end of the file,
    // -1 on an error.
    std::ptrdiff_t read(char* data, std::size_t size);
    // Writes all size bytes. False on an error.
    bool write(const char* data, std::size_t size);
    // Positions the file at its beginning.
    bool seekToStart();
    // Makes the system store the written data on the disk (FlushFileBuffers / fsync).
    bool flushToDisk();
    // Gives the file what the existing file target has (POSIX: owner and group where the process
    // may set them, extended attributes including ACLs where permitted, permission bits; Windows:
    // the hidden, system, archive and not-indexed attributes), or, with an empty target, what a
    // new file made in directory would get (POSIX: 0666 less the umask or the directory's default
    // ACL; Windows: nothing, a file takes its folder's permissions). False when the permissions
    // cannot be set.
    bool takeMetadataOf(const std::string& target, const std::string& directory);
    // Closes the file; true when it was open and closed without an error.
    bool close();
    // Why the last call that failed on this file failed; empty while none did.
    const std::error_code& error() const { return failure; }

private:
    friend bool createTemporaryFile(const std::string& directory, std::string& path, NativeFile& file,
                                    std::error_code& error);
    friend bool nameTemporaryFile(NativeFile& file, const std::string& directory, std::string& path,
                                  std::error_code& error);

    // The platform's own calls behind write, flushToDisk and close.
    bool writeAll(const char* data, std::size_t size);
    bool syncToDisk();
    bool closeHandle();
    // Makes opened (a descriptor or handle, or closedHandle when opening failed) this file's;
    // false, with the last system error recorded, when opening failed.
    bool adopt(std::intptr_t opened, bool writing);
    // Records reason as this file's error; returns false.
    bool fail(std::error_code reason) {
        failure = reason;
        return false;
    }

    // Both an invalid descriptor and INVALID_HANDLE_VALUE.
    static constexpr std::intptr_t closedHandle = -1;
    std::intptr_t handle = closedHandle;
    bool forWriting = false;  // only then can a failed close lose data
    bool nameless = false;
    std::error_code failure;
};

// The user's temporary directory, ending in a path separator (Windows: GetTempPathA; POSIX:
// $TMPDIR, else "/tmp"). False when it cannot be determined or is maxPathBuffer characters or
// longer.
bool getTemporaryDirectory(std::string& directory);

// Creates a new file, readable and writable by its owner only, in directory and opens it for
// reading and writing in file; path is where it can be reached. Where the system allows it, the
// file is nameless: it disappears when closed unless nameTemporaryFile has been called, so a
// process that ends before leaves nothing behind. Linux: O_TMPFILE, path /proc/self/fd/N; else
// POSIX: a named file "kpo", 16 random hexadecimal digits and ".tmp", created exclusively with
// mode 0600 and opened in the same call, never through a symbolic link; Windows:
// GetTempFileNameA with the prefix "kpofstream" ("kpo" and four hexadecimal digits), marked to be
// deleted when closed. False, with error set and nothing left behind, when no file could be made.
bool createTemporaryFile(const std::string& directory, std::string& path, NativeFile& file, std::error_code& error);
// Makes the nameless file that createTemporaryFile made in directory at path stay when closed, and
// sets path to its name (Linux: linked under a fresh "kpo" name; Windows: the name it has).
// False, with error set, when that fails.
bool nameTemporaryFile(NativeFile& file, const std::string& directory, std::string& path, std::error_code& error);

// Copies the rest of from to the end of to. False, with error set, when reading or writing fails.
bool copyContent(NativeFile& from, NativeFile& to, std::error_code& error);

// What a save's target is once symbolic links are resolved.
enum class TargetKind {
    missing,   // nothing of that name yet: a new file
    regular,   // an existing file, replaced
    special,   // a FIFO, a device, a socket: written in place
};
// Resolves the symbolic links of target, every level (POSIX; Windows follows none), into
// resolved, which may name a missing file (a dangling link names the file it would create), and
// tells what it names. False, with error set, when the path or a name in it is too long
// (ENAMETOOLONG, by the library's own limits on every platform), names a directory (EISDIR), a
// read-only file (SaveError::readOnlyFile), or cannot be looked at.
bool resolveTarget(const std::string& target, std::string& resolved, TargetKind& kind, std::error_code& error);

// Moves the complete, closed file from over to, which exists when replacing is set, in one atomic
// step (POSIX: rename; Windows: ReplaceFileA, which keeps the old file's attributes and
// security, or MoveFileExA with write-through for a new target). A target in use is retried
// for a moment. False, with error set and nothing changed, when the move fails.
bool moveReplacing(const char* from, const char* to, bool replacing, std::error_code& error);

// Deletes the temporary file path, whatever its mode.
void removeTemporaryFile(const std::string& path);

// The short (8.3) form of path (Windows: GetShortPathNameA into a zero-filled buffer of
// maxPathBuffer bytes). False when the call fails; always false where there are no short names.
bool getShortPath(const char* path, std::string& shortPath);

// True when path names a file that is read-only (POSIX: its mode has no write bit for its owner,
// whoever asks; Windows: the read-only attribute).
bool isReadOnly(const char* path);
// True for the characters that separate names in a path.
bool isPathSeparator(char c);
// True when path is maxPathBuffer characters or longer or holds a name longer than maxNameLength.
bool isPathTooLong(const std::string& path);
// The directory that holds path, ending in a path separator ("" for the current one).
std::string directoryOf(const std::string& path);
// Makes a rename in the directory of path last on the disk (POSIX: fsync of the directory;
// nothing on Windows).
void syncDirectoryOf(const std::string& path);

// One save of a file: where the output goes until it is complete, and how it then takes the
// target's place. Nothing it made is left behind when it fails or is dropped.
class SaveFile {
public:
    SaveFile() = default;
    ~SaveFile() { discard(); }
    SaveFile(const SaveFile&) = delete;
    SaveFile& operator=(const SaveFile&) = delete;

    // Prepares the output for target and opens it in file: a special file is opened in place,
    // anything else gets a private temporary file beside the resolved target, or in the
    // temporary directory when the target's directory refuses a new file. False, with error set
    // and nothing made, when the target cannot be saved to (see resolveTarget) or no file can be
    // made.
    bool open(const std::string& target, NativeFile& file, std::error_code& error);
    // True when the output goes straight into the target (a special file).
    bool isInPlace() const { return kind == TargetKind::special; }
    // The file the output goes to: the target itself, a temporary file's name, or the name by
    // which a nameless temporary file can be reached meanwhile (Linux: /proc/self/fd/N).
    const std::string& outputPath() const { return output; }
    // Puts the complete output of file, whose writes all succeeded, in place: stored on the disk,
    // given the target's metadata, closed, and moved over the resolved target (copied first to a
    // second temporary file beside it when it is in the temporary directory); a special file is
    // just closed. False, with error set, the target unchanged and the temporary files removed,
    // when any step fails or the target has meanwhile become read-only.
    bool commit(NativeFile& file, std::error_code& error);
    // Removes the temporary file, if any; the output is abandoned.
    void discard();

private:
    // Moves the named, closed file temporary over the resolved target.
    bool replaceTarget(const std::string& temporary, std::error_code& error);
    // Copies file, in the temporary directory, to a second temporary file beside the target and
    // commits that one.
    bool commitCopy(NativeFile& file, std::error_code& error);
    // Stores, gives the metadata to, names and closes file, made in directory and reached at
    // path; name receives its name once it has one (a file to remove if the save fails).
    bool finish(NativeFile& file, const std::string& directory, const std::string& path, std::string& name,
                std::error_code& error);

    std::string resolved;   // the file finally replaced or written
    std::string output;     // see outputPath
    std::string named;      // the temporary file's name once it has one; removed by discard
    TargetKind kind = TargetKind::missing;
    bool beside = true;     // the temporary file is in the target's directory
};

}  // namespace KpXml::detail::platform

#endif  // KPXML_PLATFORM_FILES_H
