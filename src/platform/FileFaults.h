#ifndef KPXML_PLATFORM_FILEFAULTS_H
#define KPXML_PLATFORM_FILEFAULTS_H

// A seam for tests of the save path: the platform layer reports each step below here before
// taking it, and while a test has recording on, the steps are counted and a chosen one fails as
// if the system had reported an error. Off unless a test turns it on; the library never does.

#include <cstddef>
#include <string>
#include <system_error>

namespace KpXml::detail::platform {

// The steps of a save that can fail, with the letter that stands for each in a recording.
enum class FileStep : char {
    write = 'w',        // a write to a file
    flushToDisk = 'f',  // fsync / FlushFileBuffers
    close = 'c',        // closing a file
    rename = 'r',       // a move that replaces a target
    copy = 'p',         // a read of a file being copied
};

class FileFaults {
public:
    // Starts recording: the failingStep-th step from now fails (0: none), and when besideRefused
    // is set, the target's directory refuses the first temporary file of each save (as if the
    // process could not create files there: permission denied), so that the temporary directory
    // is used and the file is then copied beside the target.
    static void start(std::size_t failingStep, bool besideRefused);
    // Stops recording and returns the letters of the steps taken since start.
    static std::string stop();

    // For the platform layer: records step; true when it must fail.
    static bool fails(FileStep step);
    // For the platform layer: true when the target's directory is to refuse the first temporary file.
    static bool refusesBeside();
    // The reason a failed step reports: write, no space left on the device; flush to disk, close
    // and copy, an input/output error; rename, the target being busy.
    static std::error_code errorOf(FileStep step);
};

}  // namespace KpXml::detail::platform

#endif  // KPXML_PLATFORM_FILEFAULTS_H
