// File primitives on Windows: the ANSI file functions, with deny-none sharing for open files.

#include "platform/Files.h"

#include "platform/win32/WindowsApi.h"

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

HANDLE toHandle(std::intptr_t value) { return reinterpret_cast<HANDLE>(value); }

// The reason a file could not be opened for reading, as the POSIX side gives it where the two
// systems mean the same thing (CreateFileA refuses a directory with ERROR_ACCESS_DENIED).
std::error_code openError(const char* path, DWORD error) {
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
        return std::make_error_code(std::errc::no_such_file_or_directory);
    case ERROR_ACCESS_DENIED: {
        const DWORD attributes = ::GetFileAttributesA(path);
        const bool directory = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        return std::make_error_code(directory ? std::errc::is_a_directory : std::errc::permission_denied);
    }
    default:
        return std::error_code(static_cast<int>(error), std::system_category());
    }
}

}  // namespace

bool getTemporaryDirectory(std::string& directory) {
    std::vector<char> buffer(maxPathBuffer, '\0');
    const DWORD length = ::GetTempPathA(pathBufferSize, buffer.data());
    if (length == 0 || length >= pathBufferSize) return false;
    directory.assign(buffer.data(), length);
    return true;
}

bool createTemporaryFile(const std::string& directory, std::string& path, NativeFile& file) {
    file.close();
    std::vector<char> buffer(maxPathBuffer, '\0');
    if (::GetTempFileNameA(directory.c_str(), "kpofstream", 0, buffer.data()) == 0) return false;
    // The name is reserved by the empty file just created; it is opened again to be written.
    const HANDLE opened = ::CreateFileA(buffer.data(), GENERIC_READ | GENERIC_WRITE, shareAll, nullptr,
                                       TRUNCATE_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE) return false;
    file.handle = reinterpret_cast<std::intptr_t>(opened);
    file.forWriting = true;
    path = buffer.data();
    return true;
}

bool isReadOnly(const char* path) {
    const DWORD attributes = ::GetFileAttributesA(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
}

bool deleteFile(const char* path) { return ::DeleteFileA(path) != 0; }

MoveResult moveReplacing(const char* from, const char* to) {
    // A file that is open cannot be replaced. Another save holds the target open for a moment
    // (the move that just put it there), so a refusal is retried for a short while before the
    // target counts as in use.
    for (int attempt = 1;; ++attempt) {
        if (::MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return MoveResult::moved;
        const DWORD error = ::GetLastError();
        if (error == ERROR_NOT_SAME_DEVICE) return MoveResult::otherDevice;
        if ((error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION) || attempt == moveAttempts) {
            return MoveResult::failed;
        }
        ::Sleep(moveRetryMilliseconds);
    }
}

std::string directoryOf(const std::string& path) {
    const std::size_t separator = path.find_last_of("\\/:");
    return separator == std::string::npos ? std::string() : path.substr(0, separator + 1);
}

void syncDirectoryOf(const std::string&) {
    // MOVEFILE_WRITE_THROUGH has already made the move last.
}

bool getShortPath(const char* path, std::string& shortPath) {
    std::vector<char> buffer(maxPathBuffer, '\0');
    if (::GetShortPathNameA(path, buffer.data(), pathBufferSize) == 0) return false;
    shortPath = buffer.data();
    return true;
}

bool NativeFile::openForRead(const char* path, std::error_code& error) {
    close();
    const HANDLE file =
        ::CreateFileA(path, GENERIC_READ, shareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        error = openError(path, ::GetLastError());
        return false;
    }
    handle = reinterpret_cast<std::intptr_t>(file);
    forWriting = false;
    return true;
}

std::ptrdiff_t NativeFile::read(char* data, std::size_t size) {
    if (!isOpen()) return -1;
    DWORD count = 0;
    const DWORD wanted = static_cast<DWORD>(size < maxPiece ? size : maxPiece);
    if (!::ReadFile(toHandle(handle), data, wanted, &count, nullptr)) return -1;
    return static_cast<std::ptrdiff_t>(count);
}

bool NativeFile::writeAll(const char* data, std::size_t size) {
    while (size > 0) {
        DWORD count = 0;
        const DWORD piece = static_cast<DWORD>(size < maxPiece ? size : maxPiece);
        if (!::WriteFile(toHandle(handle), data, piece, &count, nullptr) || count == 0) return false;
        data += count;
        size -= count;
    }
    return true;
}

bool NativeFile::seekToStart() {
    LARGE_INTEGER zero{};
    return isOpen() && ::SetFilePointerEx(toHandle(handle), zero, nullptr, FILE_BEGIN) != 0;
}

bool NativeFile::syncToDisk() { return ::FlushFileBuffers(toHandle(handle)) != 0; }

bool NativeFile::takePermissionsOf(const char*) { return isOpen(); }

bool NativeFile::closeHandle() {
    const HANDLE file = toHandle(handle);
    handle = closedHandle;
    return ::CloseHandle(file) != 0;
}

}  // namespace KpXml::detail::platform
