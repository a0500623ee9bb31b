// File primitives on Windows: the ANSI file functions, with deny-none sharing for open files.

#include "platform/Files.h"

#include "platform/win32/WindowsApi.h"

#include <vector>

namespace kpxml::platform {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kBufferSize = static_cast<DWORD>(kMaxPathBuffer);
// ReadFile and WriteFile take DWORD sizes; larger requests go in pieces of this size.
constexpr std::size_t kMaxPiece = 1u << 30;
constexpr const char* kTemporaryDirectoryVariables[] = {"TMP", "TEMP"};

HANDLE toHandle(std::intptr_t value) { return reinterpret_cast<HANDLE>(value); }

}  // namespace

bool getTemporaryDirectory(std::string& directory) {
    std::vector<char> buffer(kMaxPathBuffer, '\0');
    const DWORD length = ::GetTempPathA(kBufferSize, buffer.data());
    if (length == 0 || length >= kBufferSize) return false;
    directory.assign(buffer.data(), length);
    return true;
}

bool createTemporaryFile(const std::string& directory, std::string& path) {
    std::vector<char> buffer(kMaxPathBuffer, '\0');
    if (::GetTempFileNameA(directory.c_str(), "kpofstream", 0, buffer.data()) == 0) return false;
    path = buffer.data();
    return true;
}

bool exists(const char* path) { return ::GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES; }

bool copyFile(const char* from, const char* to) { return ::CopyFileA(from, to, FALSE) != 0; }

bool deleteFile(const char* path) { return ::DeleteFileA(path) != 0; }

bool moveFile(const char* from, const char* to) { return ::MoveFileA(from, to) != 0; }

bool getShortPath(const char* path, std::string& shortPath) {
    std::vector<char> buffer(kMaxPathBuffer, '\0');
    if (::GetShortPathNameA(path, buffer.data(), kBufferSize) == 0) return false;
    shortPath = buffer.data();
    return true;
}

bool setReadOnly(const char* path, bool readOnly) {
    DWORD attributes = ::GetFileAttributesA(path);
    if (attributes == INVALID_FILE_ATTRIBUTES) return false;
    attributes = readOnly ? attributes | FILE_ATTRIBUTE_READONLY : attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY);
    return ::SetFileAttributesA(path, attributes == 0 ? FILE_ATTRIBUTE_NORMAL : attributes) != 0;
}

SavedVariables redirectTemporaryDirectory(const std::string& directory) {
    SavedVariables saved;
    for (const char* name : kTemporaryDirectoryVariables) {
        SavedVariables::Variable variable{name, false, std::string()};
        ::SetLastError(ERROR_SUCCESS);
        const DWORD size = ::GetEnvironmentVariableA(name, nullptr, 0);
        if (size != 0 || ::GetLastError() != ERROR_ENVVAR_NOT_FOUND) {
            std::vector<char> value(size + 1, '\0');
            const DWORD length = ::GetEnvironmentVariableA(name, value.data(), size + 1);
            variable.wasSet = true;
            variable.value.assign(value.data(), length <= size ? length : 0);
        }
        saved.variables.push_back(std::move(variable));
        ::SetEnvironmentVariableA(name, directory.c_str());
    }
    return saved;
}

void restoreVariables(const SavedVariables& saved) {
    for (const SavedVariables::Variable& variable : saved.variables) {
        ::SetEnvironmentVariableA(variable.name.c_str(), variable.wasSet ? variable.value.c_str() : nullptr);
    }
}

bool NativeFile::openForWrite(const char* path, bool append) {
    close();
    const HANDLE file = ::CreateFileA(path, GENERIC_WRITE, kShareAll, nullptr, append ? OPEN_ALWAYS : CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    LARGE_INTEGER zero{};
    if (append && !::SetFilePointerEx(file, zero, nullptr, FILE_END)) {
        ::CloseHandle(file);
        return false;
    }
    handle = reinterpret_cast<std::intptr_t>(file);
    return true;
}

bool NativeFile::openForRead(const char* path) {
    close();
    const HANDLE file =
        ::CreateFileA(path, GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    handle = reinterpret_cast<std::intptr_t>(file);
    return true;
}

std::ptrdiff_t NativeFile::read(char* data, std::size_t size) {
    if (!isOpen()) return -1;
    DWORD count = 0;
    const DWORD wanted = static_cast<DWORD>(size < kMaxPiece ? size : kMaxPiece);
    if (!::ReadFile(toHandle(handle), data, wanted, &count, nullptr)) return -1;
    return static_cast<std::ptrdiff_t>(count);
}

bool NativeFile::write(const char* data, std::size_t size) {
    if (!isOpen()) return false;
    while (size > 0) {
        DWORD count = 0;
        const DWORD piece = static_cast<DWORD>(size < kMaxPiece ? size : kMaxPiece);
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

bool NativeFile::flushToDisk() { return isOpen() && ::FlushFileBuffers(toHandle(handle)) != 0; }

bool NativeFile::close() {
    if (!isOpen()) return false;
    const HANDLE file = toHandle(handle);
    handle = kClosed;
    return ::CloseHandle(file) != 0;
}

}  // namespace kpxml::platform
