// The tool's only platform-dependent calls: asking whether standard error is a terminal,
// switching off the text-mode translation of the standard streams where there is one, and
// writing to standard output.
#include "Terminal.h"

#include <cerrno>
#include <cstdio>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace kpxmlcli {

#ifdef _WIN32
namespace {

// Whether a failed write to standard output, with systemError and errno as it left them, met a
// pipe that its reader closed. The C library reports that as EINVAL (under Wine at times
// without a system error).
bool isBrokenPipe(DWORD systemError) {
    if (systemError == ERROR_NO_DATA || systemError == ERROR_BROKEN_PIPE || systemError == ERROR_PIPE_NOT_CONNECTED) return true;
    return errno == EINVAL && GetFileType(reinterpret_cast<HANDLE>(_get_osfhandle(1))) == FILE_TYPE_PIPE;
}

}  // namespace
#endif

bool standardErrorIsTerminal() {
#ifdef _WIN32
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(fileno(stderr)) != 0;
#endif
}

void useBinaryStandardStreams() {
#ifdef _WIN32
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
#endif
}

int writeStandardOutput(const char* data, std::size_t size) {
    while (size > 0) {
        errno = 0;
#ifdef _WIN32
        const unsigned chunk = size > 0x40000000u ? 0x40000000u : static_cast<unsigned>(size);
        SetLastError(0);
        const long written = _write(1, data, chunk);
        if (written < 0 && isBrokenPipe(GetLastError())) return EPIPE;
#else
        const long written = static_cast<long>(write(1, data, size));
#endif
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return errno != 0 ? errno : EIO;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

}  // namespace kpxmlcli
