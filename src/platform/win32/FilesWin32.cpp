// File primitives on Windows: the ANSI file functions, with deny-none sharing for open files.
// Windows errors are reported as the errno values that mean the same, so that both builds give
// the same reasons in the same words.

#include "platform/Files.h"

#include "platform/win32/WindowsApi.h"

#include <cerrno>
#include <vector>

namespace KpXml::detail::platform {
namespace {

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD pathBufferSize = static_cast<DWORD>(maxPathBuffer);
// ReadFile and WriteFile take DWORD sizes; larger requests go in pieces of this size.
constexpr std::size_t maxPiece = 1u << 30;
// A target in use is tried this many times, this far apart.
constexpr int moveAttempts = 20;
constexpr DWORD moveRetryMilliseconds = 5;
// The attributes a replaced file keeps (read-only files are never replaced).
constexpr DWORD keptAttributes =
    FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;

HANDLE toHandle(std::intptr_t value) { return reinterpret_cast<HANDLE>(value); }

// The errno value that means what a Windows error means; 0 when there is none.
int errnoOf(DWORD error) {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_DRIVE:
        case ERROR_BAD_NETPATH:
        case ERROR_BAD_NET_NAME:
        case ERROR_DIRECTORY:  // GetTempFileNameA in a missing folder
            return ENOENT;
        case ERROR_ACCESS_DENIED:
            return EACCES;
        case ERROR_SHARING_VIOLATION:
        case ERROR_LOCK_VIOLATION:
        case ERROR_UNABLE_TO_REMOVE_REPLACED:
            return EBUSY;
        case ERROR_WRITE_PROTECT:
            return EROFS;
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            return ENOSPC;
        case ERROR_FILENAME_EXCED_RANGE:
            return ENAMETOOLONG;
        case ERROR_ALREADY_EXISTS:
        case ERROR_FILE_EXISTS:
            return EEXIST;
        case ERROR_NOT_SAME_DEVICE:
            return EXDEV;
        case ERROR_INVALID_NAME:
        case ERROR_INVALID_PARAMETER:
            return EINVAL;
        default:
            return 0;
    }
}

// True when the library runs under Wine, whose ReplaceFileA is not one atomic step: it moves the
// old file aside to an "rf" file, moves the new one in and deletes the old, so that a save killed
// meanwhile leaves no target and an "rf" file behind, and two savers at once fail. There the move
// is MoveFileExA, which is a rename on the host.
bool replacesInSteps() {
    static const bool wine = [] {
        const HMODULE ntdll = ::GetModuleHandleA("ntdll.dll");
        return ntdll != nullptr && ::GetProcAddress(ntdll, "wine_get_version") != nullptr;
    }();
    return wine;
}

// Marks the open file to be deleted when its last handle closes, or no longer.
bool setDeletedOnClose(HANDLE file, bool deleted) {
    FILE_DISPOSITION_INFO disposition{};
    disposition.DeleteFile = deleted ? TRUE : FALSE;
    return ::SetFileInformationByHandle(file, FileDispositionInfo, &disposition, sizeof disposition) != 0;
}

bool isInUse(DWORD error) {
    return error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION || error == ERROR_UNABLE_TO_REMOVE_REPLACED;
}

}  // namespace

std::error_code lastSystemError() {
    const DWORD error = ::GetLastError();
    const int value = errnoOf(error);
    if (value != 0) return {value, std::generic_category()};
    return {static_cast<int>(error), std::system_category()};
}

bool isPathSeparator(char c) { return c == '\\' || c == '/' || c == ':'; }

bool getTemporaryDirectory(std::string& directory) {
    std::vector<char> buffer(maxPathBuffer, '\0');
    const DWORD length = ::GetTempPathA(pathBufferSize, buffer.data());
    if (length == 0 || length >= pathBufferSize) return false;
    directory.assign(buffer.data(), length);
    return true;
}

bool createTemporaryFile(const std::string& directory, std::string& path, NativeFile& file, std::error_code& error) {
    file.close();
    std::vector<char> buffer(maxPathBuffer, '\0');
    if (::GetTempFileNameA(directory.empty() ? "." : directory.c_str(), "kpofstream", 0, buffer.data()) == 0) {
        error = lastSystemError();
        return false;
    }
    // The name is reserved by the empty file just created; it is opened again to be written, and
    // marked for deletion when its last handle closes, so that a process that ends before
    // nameTemporaryFile leaves nothing behind (the file counts as nameless).
    const HANDLE opened = ::CreateFileA(buffer.data(), GENERIC_READ | GENERIC_WRITE | DELETE, shareAll, nullptr,
                                       TRUNCATE_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE || !setDeletedOnClose(opened, true)) {
        error = lastSystemError();
        if (opened != INVALID_HANDLE_VALUE) ::CloseHandle(opened);
        ::DeleteFileA(buffer.data());
        return false;
    }
    file.handle = reinterpret_cast<std::intptr_t>(opened);
    file.forWriting = true;
    file.nameless = true;
    file.failure.clear();
    path = buffer.data();
    return true;
}

bool nameTemporaryFile(NativeFile& file, const std::string&, std::string& path, std::error_code& error) {
    // The file keeps the name it was made with; it only stops being deleted when closed.
    if (!setDeletedOnClose(toHandle(file.handle), false)) {
        error = lastSystemError();
        return false;
    }
    file.nameless = false;
    (void)path;  // the name it was made with
    return true;
}

bool resolveTarget(const std::string& target, std::string& resolved, TargetKind& kind, std::error_code& error) {
    // Symbolic links are not followed: Windows makes them only for a privileged process.
    resolved = target;
    if (isPathTooLong(resolved)) {
        error = std::make_error_code(std::errc::filename_too_long);
        return false;
    }
    const DWORD attributes = ::GetFileAttributesA(resolved.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        const DWORD reason = ::GetLastError();
        if (resolved.empty() || (reason != ERROR_FILE_NOT_FOUND && reason != ERROR_PATH_NOT_FOUND)) {
            error = resolved.empty() ? std::make_error_code(std::errc::no_such_file_or_directory) : lastSystemError();
            return false;
        }
        kind = TargetKind::missing;  // a missing folder shows when the temporary file is made
        return true;
    }
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        error = std::make_error_code(std::errc::is_a_directory);
        return false;
    }
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        error = makeErrorCode(SaveError::readOnlyFile);
        return false;
    }
    kind = TargetKind::regular;
    return true;
}

bool isReadOnly(const char* path) {
    const DWORD attributes = ::GetFileAttributesA(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
}

void removeTemporaryFile(const std::string& path) {
    if (::DeleteFileA(path.c_str())) return;
    // Whatever its attributes.
    ::SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    ::DeleteFileA(path.c_str());
}

bool moveReplacing(const char* from, const char* to, bool replacing, std::error_code& error) {
    // A file that is open cannot be replaced. Another save holds the target open for a moment
    // (the move that just put it there), so a refusal is retried for a short while before the
    // target counts as in use.
    replacing = replacing && !replacesInSteps();
    for (int attempt = 1;; ++attempt) {
        const bool moved = replacing ? ::ReplaceFileA(to, from, nullptr, 0, nullptr, nullptr) != 0
                                     : ::MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
        if (moved) return true;
        const DWORD reason = ::GetLastError();
        if (replacing && reason == ERROR_FILE_NOT_FOUND) {
            replacing = false;  // the target went meanwhile: a new one
            continue;
        }
        if (!isInUse(reason) || attempt == moveAttempts) {
            error = lastSystemError();
            return false;
        }
        ::Sleep(moveRetryMilliseconds);
    }
}

std::string directoryOf(const std::string& path) {
    const std::size_t separator = path.find_last_of("\\/:");
    return separator == std::string::npos ? std::string() : path.substr(0, separator + 1);
}

void syncDirectoryOf(const std::string&) {
    // MOVEFILE_WRITE_THROUGH has already made the move last; folders cannot be flushed.
}

bool getShortPath(const char* path, std::string& shortPath) {
    std::vector<char> buffer(maxPathBuffer, '\0');
    if (::GetShortPathNameA(path, buffer.data(), pathBufferSize) == 0) return false;
    shortPath = buffer.data();
    return true;
}

bool NativeFile::openForRead(const char* path) {
    close();
    if (adopt(reinterpret_cast<std::intptr_t>(::CreateFileA(path, GENERIC_READ, shareAll, nullptr, OPEN_EXISTING,
                                                           FILE_ATTRIBUTE_NORMAL, nullptr)),
              false))
        return true;
    // CreateFileA refuses a directory as "access denied"; give the reason the POSIX side gives.
    const DWORD attributes = ::GetFileAttributesA(path);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return fail(std::make_error_code(std::errc::is_a_directory));
    return false;
}

bool NativeFile::openInPlace(const char* path) {
    close();
    return adopt(reinterpret_cast<std::intptr_t>(::CreateFileA(path, GENERIC_WRITE, shareAll, nullptr, TRUNCATE_EXISTING,
                                                              FILE_ATTRIBUTE_NORMAL, nullptr)),
                 true);
}

std::ptrdiff_t NativeFile::read(char* data, std::size_t size) {
    if (!isOpen()) return -1;
    DWORD count = 0;
    const DWORD wanted = static_cast<DWORD>(size < maxPiece ? size : maxPiece);
    if (!::ReadFile(toHandle(handle), data, wanted, &count, nullptr)) {
        fail(lastSystemError());
        return -1;
    }
    return static_cast<std::ptrdiff_t>(count);
}

bool NativeFile::writeAll(const char* data, std::size_t size) {
    while (size > 0) {
        DWORD count = 0;
        const DWORD piece = static_cast<DWORD>(size < maxPiece ? size : maxPiece);
        if (!::WriteFile(toHandle(handle), data, piece, &count, nullptr)) return false;
        if (count == 0) {
            ::SetLastError(ERROR_DISK_FULL);
            return false;
        }
        data += count;
        size -= count;
    }
    return true;
}

bool NativeFile::seekToStart() {
    LARGE_INTEGER zero{};
    if (!isOpen()) return false;
    return ::SetFilePointerEx(toHandle(handle), zero, nullptr, FILE_BEGIN) != 0 || fail(lastSystemError());
}

bool NativeFile::syncToDisk() { return ::FlushFileBuffers(toHandle(handle)) != 0; }

bool NativeFile::takeMetadataOf(const std::string& target, const std::string&) {
    if (!isOpen()) return false;
    // ReplaceFileA keeps the old file's attributes on Windows, but under Wine the move is
    // MoveFileExA (see replacesInSteps): they are set on the new file first, which is the same on
    // both.
    const DWORD old = target.empty() ? INVALID_FILE_ATTRIBUTES : ::GetFileAttributesA(target.c_str());
    if (old == INVALID_FILE_ATTRIBUTES || (old & keptAttributes) == 0) return true;
    FILE_BASIC_INFO basic{};  // zero times: unchanged
    basic.FileAttributes = old & keptAttributes;
    return ::SetFileInformationByHandle(toHandle(handle), FileBasicInfo, &basic, sizeof basic) != 0 ||
           fail(lastSystemError());
}

bool NativeFile::closeHandle() {
    const HANDLE file = toHandle(handle);
    handle = closedHandle;
    return ::CloseHandle(file) != 0;
}

}  // namespace KpXml::detail::platform
