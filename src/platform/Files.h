#ifndef KPXML_PLATFORM_FILES_H
#define KPXML_PLATFORM_FILES_H

// File primitives for safe output and for input: the temporary directory and unique temporary
// files, whole-file operations (exists, copy, delete, move, short name) and a native file handle.
//
// Paths are narrow strings in the ANSI code page. On Windows these are the ANSI file functions
// (GetTempPathA, GetTempFileNameA, CopyFileA, DeleteFileA, MoveFileA, GetShortPathNameA,
// CreateFileA). The POSIX side behaves as they do: a file whose owner may not write to it is
// read-only and cannot be deleted, a move never replaces an existing file, and there are no short
// names.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kpxml::platform {

// Paths, temporary directory included, must be shorter than this many characters.
constexpr std::size_t kMaxPathBuffer = 4096;

// The user's temporary directory, ending in a path separator (Windows: GetTempPathA; POSIX:
// $TMPDIR, else "/tmp"). False when it cannot be determined or is kMaxPathBuffer characters or
// longer.
bool getTemporaryDirectory(std::string& directory);

// Creates a new, empty file with a unique name in directory, starting with "kpo" (Windows:
// GetTempFileNameA with the prefix "kpofstream"; POSIX: "kpo", four lowercase hexadecimal digits,
// ".tmp", created exclusively). False when no file could be created there.
bool createTemporaryFile(const std::string& directory, std::string& path);

// True when something (a file or a directory) exists under path.
bool exists(const char* path);

// Copies from over to, replacing to's content when it exists.
bool copyFile(const char* from, const char* to);

// Deletes the file path. Fails, deleting nothing, when the file is read-only (POSIX: its mode
// has no write bit for its owner, whoever asks).
bool deleteFile(const char* path);

// Renames from to to. Fails, changing nothing, when to exists or its directory is missing.
bool moveFile(const char* from, const char* to);

// The short (8.3) form of path (Windows: GetShortPathNameA into a zero-filled buffer of
// kMaxPathBuffer bytes). False when the call fails; always false where there are no short names.
bool getShortPath(const char* path, std::string& shortPath);

// Makes path read-only (Windows: the read-only attribute; POSIX: no write bits) or writable
// again (Windows: clears the attribute; POSIX: adds the owner's write bit).
bool setReadOnly(const char* path, bool readOnly);

// Environment variables as they were before a change, to be put back.
struct SavedVariables {
    struct Variable {
        std::string name;
        bool wasSet;
        std::string value;
    };
    std::vector<Variable> variables;
};

// Points the temporary directory at directory by setting the environment variables the platform
// takes it from (POSIX: TMPDIR; Windows: TMP and TEMP). Returns their previous values.
SavedVariables redirectTemporaryDirectory(const std::string& directory);
// Puts back what redirectTemporaryDirectory changed.
void restoreVariables(const SavedVariables& saved);

// An open file: a POSIX descriptor or a Windows handle. Closed when destroyed. Other processes
// may open, rename or delete the file while it is open (Windows: deny-none sharing).
class NativeFile {
public:
    NativeFile() = default;
    ~NativeFile() { close(); }
    NativeFile(const NativeFile&) = delete;
    NativeFile& operator=(const NativeFile&) = delete;

    // Opens path for writing, creating it when missing: emptied first, or with every write going
    // to its end (append). False when it cannot be opened.
    bool openForWrite(const char* path, bool append);
    // Opens path for reading. False when it cannot be opened.
    bool openForRead(const char* path);
    bool isOpen() const { return handle != kClosed; }

    // Reads up to size bytes into data. Returns how many were read: 0 at the end of the file,
    // -1 on an error.
    std::ptrdiff_t read(char* data, std::size_t size);
    // Writes all size bytes. False on an error.
    bool write(const char* data, std::size_t size);
    // Positions the file at its beginning.
    bool seekToStart();
    // Makes the system store the written data on the disk (FlushFileBuffers / fsync).
    bool flushToDisk();
    // Closes the file; true when it was open and closed without an error.
    bool close();

private:
    // Both an invalid descriptor and INVALID_HANDLE_VALUE.
    static constexpr std::intptr_t kClosed = -1;
    std::intptr_t handle = kClosed;
};

}  // namespace kpxml::platform

#endif  // KPXML_PLATFORM_FILES_H
