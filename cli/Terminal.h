#ifndef KPXML_CLI_TERMINAL_H
#define KPXML_CLI_TERMINAL_H

// The tool's only platform-dependent calls.
namespace kpxmlcli {

// True when standard error is a terminal (so progress lines are worth printing).
bool standardErrorIsTerminal();
// Makes standard output and standard error pass bytes unchanged, so that a line ends with a
// single line feed on every platform.
void useBinaryStandardStreams();

}  // namespace kpxmlcli

#endif
