#ifndef KPXML_CLI_TERMINAL_H
#define KPXML_CLI_TERMINAL_H

#include <cstddef>

// The tool's only platform-dependent calls.
namespace kpxmlcli {

// True when standard error is a terminal (so progress lines are worth printing).
bool standardErrorIsTerminal();
// Makes the standard streams pass bytes unchanged, so that a line ends with a single line feed
// on every platform and standard input is read as the bytes it holds.
void useBinaryStandardStreams();
// Writes all size bytes to standard output; returns 0, or the errno value of the write that failed.
int writeStandardOutput(const char* data, std::size_t size);

}  // namespace kpxmlcli

#endif
