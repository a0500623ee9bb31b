#ifndef KPXML_PLATFORM_FILES_H
#define KPXML_PLATFORM_FILES_H

// File primitives for safe output and for input: the temporary directory and temporary files
// opened once, the atomic replacement of a target, deleting, short names and a native file handle.
//
// Paths are narrow strings in the ANSI code page. On Windows these are the ANSI file functions
// (GetTempPathA, GetTempFileNameA, GetFileAttributesA, DeleteFileA, MoveFileExA,
// GetShortPathNameA, CreateFileA). On POSIX a file whose owner may not write to it is read-only,
// as a file with the read-only attribute is on Windows, and there are no short names.

#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>

namespace KpXml::detail::platform {

// Paths, temporary directory included, must be shorter than this many characters.
constexpr std::size_t maxPathBuffer = 4096;

// An open file: a POSIX descriptor or a Windows handle. Closed when destroyed. Other processes
// may open, rename or delete the file while it is open (Windows: deny-none sharing).
class NativeFile {
public:
    NativeFile() = default;
    ~NativeFile() { close(); }
    NativeFile(NativeFile&& other) noexcept : handle(other.handle), forWriting(other.forWriting) {
        other.handle = closedHandle;
    }
    NativeFile& operator=(NativeFile&& other) noexcept;
    NativeFile(const NativeFile&) = delete;
    NativeFile& operator=(const NativeFile&) = delete;

    // Opens path for reading. False when it cannot be opened (a directory cannot).
    bool openForRead(const char* path) {
        std::error_code ignored;
        return openForRead(path, ignored);
    }
    // As above, with the reason in error on failure: every platform gives no_such_file_or_directory
    // for a missing file or folder, is_a_directory for a directory and permission_denied for a
    // refusal (std::errc values); other failures keep the system's own code.
    bool openForRead(const char* path, std::error_code& error);
    bool isOpen() const { return handle != closedHandle; }

    // Reads up to size bytes into data. Returns how many were read: 0 at the end of the file,
    // -1 on an error.
    std::ptrdiff_t read(char* data, std::size_t size);
    // Writes all size bytes. False on an error.
    bool write(const char* data, std::size_t size);
    // Positions the file at its beginning.
    bool seekToStart();
    // Makes the system store the written data on the disk (FlushFileBuffers / fsync).
    bool flushToDisk();
    // Gives the file the permission bits of target (POSIX; a read-only target's bits are not
    // taken, since it will not be replaced), or those of a new file (0666 less the umask) when
    // there is no target. Nothing to do on Windows, where a file takes its folder's permissions.
    bool takePermissionsOf(const char* target);
    // Closes the file; true when it was open and closed without an error.
    bool close();

private:
    friend bool createTemporaryFile(const std::string& directory, std::string& path, NativeFile& file);

    // The platform's own calls behind write, flushToDisk and close.
    bool writeAll(const char* data, std::size_t size);
    bool syncToDisk();
    bool closeHandle();

    // Both an invalid descriptor and INVALID_HANDLE_VALUE.
    static constexpr std::intptr_t closedHandle = -1;
    std::intptr_t handle = closedHandle;
    bool forWriting = false;  // only then can a failed close lose data
};

// The user's temporary directory, ending in a path separator (Windows: GetTempPathA; POSIX:
// $TMPDIR, else "/tmp"). False when it cannot be determined or is maxPathBuffer characters or
// longer.
bool getTemporaryDirectory(std::string& directory);

// Creates a new, empty file with a unique name in directory and opens it for writing in file.
// Windows: GetTempFileNameA with the prefix "kpofstream" ("kpo" and four hexadecimal digits),
// then opened by that name. POSIX: "kpo", 16 random hexadecimal digits and ".tmp", created
// exclusively with mode 0600 and opened in the same call, never through a symbolic link. False
// when no file could be created and opened (on Windows a file created but not opened stays).
bool createTemporaryFile(const std::string& directory, std::string& path, NativeFile& file);

// Copies the rest of from to the end of to. False when reading or writing fails.
bool copyContent(NativeFile& from, NativeFile& to);

// Replaces target with the complete, closed file temporary in one atomic step: there is no moment
// at which target is missing or partly written, and the replacement is on the disk when this
// returns. Across file systems the data is first copied to a second temporary file beside target,
// which then takes target's name. False, changing nothing and leaving temporary where it is, when
// target is read-only or in use, its directory is missing or the move or copy fails.
bool replaceFile(const char* temporary, const char* target);

// Deletes the file path. Fails, deleting nothing, when the file is read-only (POSIX: its mode
// has no write bit for its owner, whoever asks).
bool deleteFile(const char* path);

// The short (8.3) form of path (Windows: GetShortPathNameA into a zero-filled buffer of
// maxPathBuffer bytes). False when the call fails; always false where there are no short names.
bool getShortPath(const char* path, std::string& shortPath);

// What replaceFile needs from each platform. Moves from over to, replacing to.
enum class MoveResult { moved, otherDevice, failed };
MoveResult moveReplacing(const char* from, const char* to);
// True when path names a file that is read-only (see deleteFile).
bool isReadOnly(const char* path);
// The directory that holds path, ending in a path separator ("" for the current one).
std::string directoryOf(const std::string& path);
// Makes a rename in the directory of path last on the disk (POSIX: fsync of the directory;
// nothing on Windows, where the move writes through).
void syncDirectoryOf(const std::string& path);

}  // namespace KpXml::detail::platform

#endif  // KPXML_PLATFORM_FILES_H
