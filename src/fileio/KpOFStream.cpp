#include "fileio/KpOFStream.h"

#include <utility>

#include "fileio/TextFileBuffer.h"
#include "platform/Files.h"

namespace {

using kpxml::TextFileBuffer;
using kpxml::TextFileIStream;
using kpxml::TextFileOStream;
namespace platform = kpxml::platform;

// An input stream on path in text mode; in failed state when the file cannot be opened.
std::unique_ptr<std::istream> openInput(const char* path) {
    auto in = std::make_unique<TextFileIStream>();
    if (path == nullptr || !in->buffer().openForRead(path, true)) in->setstate(std::ios_base::failbit);
    return in;
}

}  // namespace

KpOFStream::KpOFStream(const char* target, int mode) {
    const int streamMode = mode | modeOut;
    if (target == nullptr) return;

    std::string directory;
    if (!platform::getTemporaryDirectory(directory)) return;
    std::string temporary;
    if (!platform::createTemporaryFile(directory, temporary)) return;
    targetPath = target;
    temporaryPath = std::move(temporary);

    const bool append = (streamMode & modeAppend) != 0;
    if (append && platform::exists(target)) platform::copyFile(target, temporaryPath.c_str());

    auto opened = std::make_unique<TextFileOStream>();
    const bool text = (streamMode & modeBinary) == 0;
    if (!opened->buffer().openForWrite(temporaryPath.c_str(), append, text)) opened->setstate(std::ios_base::failbit);
    if (!opened->good()) {
        // The empty temporary file stays where it was created.
        targetPath.clear();
        temporaryPath.clear();
        return;
    }
    stream = std::move(opened);
}

KpOFStream::~KpOFStream() {
    if (!stream) return;
    // The stream is always a TextFileOStream (see the constructor).
    TextFileOStream& file = static_cast<TextFileOStream&>(*stream);
    try {
        file.flush();
    } catch (...) {
        // A stream set to throw reports a failed flush; the commit goes on regardless.
    }
    TextFileBuffer& buffer = file.buffer();
    buffer.flushToDisk();  // the data is on the disk before the temporary file takes the target's name
    if (!buffer.close()) {
        try {
            file.setstate(std::ios_base::failbit);
        } catch (...) {
        }
    }
    stream.reset();

    // Unconditional: output that failed midway replaces the target too. A target that cannot be
    // deleted (read-only, in use) keeps its content, as the move then fails and the temporary
    // file stays behind.
    if (!temporaryPath.empty()) {
        platform::deleteFile(targetPath.c_str());
        platform::moveFile(temporaryPath.c_str(), targetPath.c_str());
    }
}

std::unique_ptr<std::istream> openIFStream(const char* path) {
    std::unique_ptr<std::istream> in = openInput(path);
    if (in->good()) return in;
    // A name the narrow file functions cannot open may open through its short form; without
    // one, the same name is tried again.
    std::string shortPath;
    const bool haveShortPath = path != nullptr && platform::getShortPath(path, shortPath);
    return openInput(haveShortPath ? shortPath.c_str() : path);
}
