#include "fileio/KpOFStream.h"

#include <exception>
#include <utility>

#include "fileio/TextFileBuffer.h"
#include "platform/Files.h"

namespace {

using KpXml::detail::TextFileBuffer;
using KpXml::detail::TextFileIStream;
using KpXml::detail::TextFileOStream;
namespace platform = KpXml::detail::platform;

// An input stream on path in text mode; in failed state, with the reason in error, when the file
// cannot be opened.
std::unique_ptr<std::istream> openInput(const char* path, std::error_code& error) {
    auto in = std::make_unique<TextFileIStream>();
    if (path == nullptr) {
        error = std::make_error_code(std::errc::invalid_argument);
        in->setstate(std::ios_base::failbit);
    } else if (!in->buffer().openForRead(path, true, error)) {
        in->setstate(std::ios_base::failbit);
    }
    return in;
}

}  // namespace

KpOFStream::KpOFStream(const char* target, int mode) : exceptionsAtStart(std::uncaught_exceptions()) {
    const int streamMode = mode | modeOut;
    if (target == nullptr) return;

    std::string directory;
    if (!platform::getTemporaryDirectory(directory)) return;
    std::string temporary;
    platform::NativeFile file;
    if (!platform::createTemporaryFile(directory, temporary, file)) return;
    targetPath = target;
    temporaryPath = std::move(temporary);

    auto opened = std::make_unique<TextFileOStream>();
    TextFileBuffer& buffer = opened->buffer();
    buffer.openForWrite(std::move(file), (streamMode & modeBinary) == 0);
    // Appended output follows the old content, copied through the open file. A target that
    // cannot be opened counts as none; a copy that fails makes the commit fail.
    platform::NativeFile old;
    if ((streamMode & modeAppend) != 0 && old.openForRead(target)) buffer.copyFrom(old);
    stream = std::move(opened);
}

KpOFStream::~KpOFStream() {
    if (std::uncaught_exceptions() <= exceptionsAtStart) {
        commit();
        return;
    }
    if (!stream) return;
    // Unwinding out of a write: the document is incomplete, so the old target must stay.
    static_cast<TextFileOStream&>(*stream).buffer().close();
    stream.reset();
    platform::deleteFile(temporaryPath.c_str());
}

bool KpOFStream::commit() {
    if (!stream) return false;
    const std::unique_ptr<std::ostream> finished = std::move(stream);
    // The stream is always a TextFileOStream (see the constructor).
    TextFileOStream& file = static_cast<TextFileOStream&>(*finished);
    try {
        file.flush();
    } catch (...) {
        // A stream set to throw reports a failed flush; the buffer's own results decide below.
    }
    TextFileBuffer& buffer = file.buffer();
    // On the disk before the file takes the target's name: a crash then leaves the old or the new.
    bool stored = buffer.flushToDisk();
    if (stored) buffer.takePermissionsOf(targetPath.c_str());
    stored = buffer.close() && stored;
    if (!stored) {
        platform::deleteFile(temporaryPath.c_str());
        return false;
    }
    // A target that refuses the replacement keeps its content; the complete temporary file stays.
    try {
        platform::replaceFile(temporaryPath.c_str(), targetPath.c_str());
    } catch (...) {
        // Out of memory for a name or a copy buffer: nothing was replaced.
    }
    return true;
}

std::unique_ptr<std::istream> openIFStream(const char* path) {
    std::error_code ignored;
    return openIFStream(path, ignored);
}

std::unique_ptr<std::istream> openIFStream(const char* path, std::error_code& error) {
    error.clear();
    std::unique_ptr<std::istream> in = openInput(path, error);
    if (in->good()) return in;
    // A name the narrow file functions cannot open may open through its short form; without
    // one, the same name is tried again.
    std::string shortPath;
    const bool haveShortPath = path != nullptr && platform::getShortPath(path, shortPath);
    error.clear();
    return openInput(haveShortPath ? shortPath.c_str() : path, error);
}
