// The tool's only platform-dependent calls: asking whether standard error is a terminal, and
// switching off the text-mode translation of the standard streams where there is one.
#include "Terminal.h"

#include <cstdio>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

namespace kpxmlcli {

bool standardErrorIsTerminal() {
#ifdef _WIN32
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(fileno(stderr)) != 0;
#endif
}

void useBinaryStandardStreams() {
#ifdef _WIN32
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
#endif
}

}  // namespace kpxmlcli
