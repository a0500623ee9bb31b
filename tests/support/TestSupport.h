#ifndef KPXML_TESTS_SUPPORT_TESTSUPPORT_H
#define KPXML_TESTS_SUPPORT_TESTSUPPORT_H

// Helpers shared by the test programs and fuzz targets: bytes of files, readable forms of text, a
// counting invalid-parameter handler, and what they need from the system (the library has none).

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace KpXml::test {

// The bytes of the file at path; empty when it cannot be read.
std::string readBytes(const std::string& path);
// Writes bytes to the file at path, replacing it, in place.
void writeBytes(const std::string& path, const std::string& bytes);

// text with every byte outside printable ASCII as \xNN (lowercase) and '"' and '\' escaped.
std::string shown(const std::string& text);
// shown(text) in double quotes.
std::string quoted(const std::string& text);

// What document (a KpXmlTree) writes to a stream, with or without the declaration line.
template <typename Document>
std::string written(const Document& document, bool declaration = false) {
    std::ostringstream out;
    document.putToStream(out, declaration);
    return out.str();
}

// An invalid-parameter handler that returns, counting its calls in invalidParameterCalls.
inline int invalidParameterCalls = 0;
inline void countInvalidParameter() { ++invalidParameterCalls; }

// This process's id.
int processId();
// A path in the system's temporary directory, unique to this process: kpxml_<id>_<name>.
std::string temporaryPath(const std::string& name);

// Makes path read-only (Windows: the read-only attribute; POSIX: no write bits) or writable
// again (Windows: clears the attribute; POSIX: adds the owner's write bit).
bool setReadOnly(const std::string& path, bool readOnly);

// Points the temporary directory at directory by setting the environment variables the platform
// takes it from (POSIX: TMPDIR; Windows: TMP and TEMP). Tests put it back the same way.
void redirectTemporaryDirectory(const std::string& directory);

// A program run as a child process, which inherits the environment. Killed when destroyed.
class ChildProcess {
public:
    ChildProcess() = default;
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Starts program with arguments. False when it cannot be started.
    bool start(const std::string& program, const std::vector<std::string>& arguments);
    // Ends the process at once (SIGKILL / TerminateProcess), wherever it is.
    void kill();
    // Waits for the end; returns the exit code, or -1 when the process was killed.
    int wait();

private:
    std::intptr_t process = -1;  // a process id or a process handle
};

}  // namespace KpXml::test

#endif  // KPXML_TESTS_SUPPORT_TESTSUPPORT_H
