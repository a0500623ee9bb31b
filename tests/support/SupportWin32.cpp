// What the tests need from Windows.

#include "TestSupport.h"

#include "platform/win32/WindowsApi.h"

namespace KpXml::test {
namespace {

HANDLE toHandle(std::intptr_t value) { return reinterpret_cast<HANDLE>(value); }
constexpr DWORD killedExitCode = 0xDEAD;

}  // namespace

int processId() { return static_cast<int>(::GetCurrentProcessId()); }

bool setReadOnly(const std::string& path, bool readOnly) {
    DWORD attributes = ::GetFileAttributesA(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return false;
    attributes = readOnly ? attributes | FILE_ATTRIBUTE_READONLY : attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY);
    return ::SetFileAttributesA(path.c_str(), attributes == 0 ? FILE_ATTRIBUTE_NORMAL : attributes) != 0;
}

void redirectTemporaryDirectory(const std::string& directory) {
    ::SetEnvironmentVariableA("TMP", directory.c_str());
    ::SetEnvironmentVariableA("TEMP", directory.c_str());
}

bool ChildProcess::start(const std::string& program, const std::vector<std::string>& arguments) {
    std::string commandLine = '"' + program + '"';
    for (const std::string& argument : arguments) commandLine += " \"" + argument + '"';
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (!::CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                          &startup, &started)) {
        return false;
    }
    ::CloseHandle(started.hThread);
    process = reinterpret_cast<std::intptr_t>(started.hProcess);
    return true;
}

void ChildProcess::kill() {
    if (process != -1) ::TerminateProcess(toHandle(process), killedExitCode);
}

int ChildProcess::wait() {
    if (process == -1) return -1;
    ::WaitForSingleObject(toHandle(process), INFINITE);
    DWORD code = 0;
    const bool known = ::GetExitCodeProcess(toHandle(process), &code) != 0;
    ::CloseHandle(toHandle(process));
    process = -1;
    return known && code != killedExitCode ? static_cast<int>(code) : -1;
}

}  // namespace KpXml::test
