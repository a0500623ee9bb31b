#ifndef KPXML_FILEIO_KPOFSTREAM_H
#define KPXML_FILEIO_KPOFSTREAM_H

#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <system_error>

#include "platform/Files.h"

// Safe file output: text goes to a fresh temporary file beside the target (in the user's
// temporary directory only when the target's directory refuses one), readable by its owner only,
// and the commit replaces the target with it in one atomic step once every byte is stored on the
// disk, giving it what the old target had (see platform::SaveFile). Output that could not be
// stored completely never replaces the target, and no temporary file is ever left behind. A
// symbolic link is followed to the file it names; a special file (FIFO, device) is written in
// place. Files are in text mode unless the binary bit is set: each line feed is stored as
// carriage return plus line feed, on every platform.
class KpOFStream {
public:
    // Open-mode bits, the same on every platform.
    static constexpr int modeIn = 1;
    static constexpr int modeOut = 2;
    static constexpr int modeAte = 4;
    static constexpr int modeAppend = 8;
    static constexpr int modeTruncate = 16;
    static constexpr int modeBinary = 32;

    // Prepares the temporary file for target (with the output bit added to mode). With the append
    // bit and an existing target, the target's content is copied first so that output follows it.
    // On failure getStream() is null, both paths are empty, getError() says why (a directory, a
    // read-only file, a missing directory, a name too long ...) and nothing is left behind.
    KpOFStream(const char* target, int mode);
    // Commits, unless commit() has been called. When an exception that arose after construction
    // is passing, the output is unfinished: the target keeps its content and the temporary file
    // is removed instead. Never throws.
    ~KpOFStream();

    KpOFStream(const KpOFStream&) = delete;
    KpOFStream& operator=(const KpOFStream&) = delete;

    // Finishes the output: true when the target now holds the complete output. False, with
    // getError() saying why, the target unchanged and the temporary files removed, when a write,
    // the flush to disk, the close or the replacement failed (the target read-only or in use),
    // when there is no stream, or when already committed. The stream is gone afterwards. Never
    // throws.
    bool commit();

    // The stream to write to, or null when the temporary file could not be prepared or the output
    // has been committed.
    std::ostream* getStream() const { return stream.get(); }
    // The file the output goes to until the commit (see platform::SaveFile::outputPath); empty
    // after a failed construction.
    const std::string& getTemporaryPath() const { return temporaryPath; }
    const std::string& getTargetPath() const { return targetPath; }
    // Why the construction or the commit failed; empty when neither did.
    const std::error_code& getError() const { return error; }

private:
    std::string targetPath;
    std::string temporaryPath;
    std::unique_ptr<std::ostream> stream;
    KpXml::detail::platform::SaveFile save;
    std::error_code error;
    // Exceptions in flight when the output began; more at destruction means the writer was cut off.
    int exceptionsAtStart;
};

// Opens path for reading in text mode (a carriage return before a line feed is dropped, a byte
// 0x1A ends the input); when that fails, tries the platform's short form of the path (the same
// path again where there are no short names). Never null: test the stream's state.
std::unique_ptr<std::istream> openIFStream(const char* path);
// As above; when the stream is not good, error holds the reason the last attempt failed.
std::unique_ptr<std::istream> openIFStream(const char* path, std::error_code& error);

#endif
