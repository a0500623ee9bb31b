#ifndef KPXML_CLI_STANDARDOUTPUT_H
#define KPXML_CLI_STANDARDOUTPUT_H

#include <streambuf>
#include <string>
#include <vector>

namespace kpxmlcli {

// A stream buffer for standard output that remembers the first failed write: after it, further
// output is discarded, and finish() tells what went wrong.
class StandardOutput : public std::streambuf {
public:
    StandardOutput();

    // Writes what is buffered; returns 0, or the errno value of the first write that failed.
    int finish();

protected:
    int_type overflow(int_type c) override;
    int sync() override;

private:
    bool flushBuffer();

    std::vector<char> buffer;
    int error = 0;
};

// Ends the tool's run: flushes std::cout (which must use output), and turns a failed write
// into "kpxml: write error: REASON" on standard error. A reader that closed the pipe ends the
// run quietly, as on a system where that is a signal. Returns status, or 1 after a failed write.
int finishOutput(StandardOutput& output, int status);

}  // namespace kpxmlcli

#endif
