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
    if (target == nullptr) {
        error = std::make_error_code(std::errc::invalid_argument);
        return;
    }
    platform::NativeFile file;
    if (!save.open(target, file, error)) return;
    targetPath = target;
    temporaryPath = save.outputPath();

    auto opened = std::make_unique<TextFileOStream>();
    TextFileBuffer& buffer = opened->buffer();
    buffer.openForWrite(std::move(file), (streamMode & modeBinary) == 0);
    // Appended output follows the old content, copied through the open file. A target that
    // cannot be opened counts as none; a copy that fails makes the commit fail. A special file
    // written in place has no content to keep (reading a FIFO would take its data).
    platform::NativeFile old;
    if ((streamMode & modeAppend) != 0 && !save.isInPlace() && old.openForRead(target)) buffer.copyFrom(old);
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
    save.discard();
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
    platform::NativeFile output;
    bool saved = false;
    try {
        saved = file.buffer().finishWriting(output, error) && save.commit(output, error);
    } catch (...) {
        // Out of memory for a name or a copy buffer: nothing was replaced.
        error = std::make_error_code(std::errc::not_enough_memory);
    }
    if (!saved) save.discard();
    return saved;
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
