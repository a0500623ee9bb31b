#ifndef KPXML_FILEIO_KPOFSTREAM_H
#define KPXML_FILEIO_KPOFSTREAM_H

#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <system_error>

// Safe file output: text goes to a fresh temporary file in the user's temporary directory, readable
// by its owner only, and the commit replaces the target with it in one atomic step once every byte
// is stored on the disk. Output that could not be stored completely never replaces the target.
// Files are in text mode unless the binary bit is set: each line feed is stored as carriage return
// plus line feed, on every platform.
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
    // On failure getStream() is null and both paths are empty.
    KpOFStream(const char* target, int mode);
    // Commits, unless commit() has been called. When an exception that arose after construction
    // is passing, the output is unfinished: the target keeps its content and the temporary file
    // is removed instead. Never throws.
    ~KpOFStream();

    KpOFStream(const KpOFStream&) = delete;
    KpOFStream& operator=(const KpOFStream&) = delete;

    // Finishes the output: the temporary file replaces the target (taking the target's permission
    // bits) when every write, the flush to disk and the close succeeded. Returns false when they
    // did not (the target keeps its content and the incomplete temporary file is removed), when
    // there is no stream, or when already committed. A target that refuses the replacement
    // (read-only, in use, in a missing directory) keeps its content and the complete temporary
    // file stays: that still returns true. The stream is gone afterwards. Never throws.
    bool commit();

    // The stream to write to, or null when the temporary file could not be prepared or the output
    // has been committed.
    std::ostream* getStream() const { return stream.get(); }
    // The file the output goes to until the commit; empty after a failed construction.
    const std::string& getTemporaryPath() const { return temporaryPath; }
    const std::string& getTargetPath() const { return targetPath; }

private:
    std::string targetPath;
    std::string temporaryPath;
    std::unique_ptr<std::ostream> stream;
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
