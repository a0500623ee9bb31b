// What the tests need from a POSIX system.

#include "TestSupport.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace KpXml::test {

int processId() { return static_cast<int>(::getpid()); }

bool setReadOnly(const std::string& path, bool readOnly) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return false;
    const mode_t mode = readOnly ? (status.st_mode & 07555) : (status.st_mode & 07777) | S_IWUSR;
    return ::chmod(path.c_str(), mode) == 0;
}

void redirectTemporaryDirectory(const std::string& directory) { ::setenv("TMPDIR", directory.c_str(), 1); }

bool ChildProcess::start(const std::string& program, const std::vector<std::string>& arguments) {
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    const pid_t child = ::fork();
    if (child < 0) return false;
    if (child == 0) {
        ::execv(program.c_str(), argv.data());
        ::_exit(127);
    }
    process = child;
    return true;
}

void ChildProcess::kill() {
    if (process > 0) ::kill(static_cast<pid_t>(process), SIGKILL);
}

int ChildProcess::wait() {
    if (process <= 0) return -1;
    int status = 0;
    pid_t result;
    do {
        result = ::waitpid(static_cast<pid_t>(process), &status, 0);
    } while (result < 0 && errno == EINTR);
    process = -1;
    return result > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace KpXml::test
