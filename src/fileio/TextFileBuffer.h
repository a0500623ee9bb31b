#ifndef KPXML_FILEIO_TEXTFILEBUFFER_H
#define KPXML_FILEIO_TEXTFILEBUFFER_H

#include <cstddef>
#include <istream>
#include <memory>
#include <ostream>
#include <streambuf>
#include <system_error>

#include "platform/Files.h"

namespace KpXml::detail {

// A stream buffer over a file, for the library's own files, giving the same bytes on every
// platform. In text mode a line feed is written as carriage return plus line feed; on reading, a
// carriage return directly before a line feed is dropped (a lone one stays) and a byte 0x1A ends
// the input. In binary mode bytes pass unchanged. A buffer is opened either for writing or for
// reading. Reading may go back to the beginning (seek to position 0); no other position can be
// sought.
class TextFileBuffer : public std::streambuf {
public:
    // Bytes held between calls of the system.
    static constexpr std::size_t bufferCapacity = 64 * 1024;

    TextFileBuffer() = default;
    ~TextFileBuffer() override;
    TextFileBuffer(const TextFileBuffer&) = delete;
    TextFileBuffer& operator=(const TextFileBuffer&) = delete;

    // Writes to opened, a file open for writing, which the buffer owns from now on.
    void openForWrite(platform::NativeFile&& opened, bool text);
    // Opens path for reading. False on failure, with the reason in error.
    bool openForRead(const char* path, bool text, std::error_code& error);
    bool isOpen() const { return file.isOpen(); }

    // Copies the rest of source to the file as it is (not translated). False, and every later
    // close fails, when the copy fails.
    bool copyFrom(platform::NativeFile& source);
    // Hands the bytes written so far to the system and closes the file. False when anything
    // written since opening could not be stored, or the file was not open.
    bool close();
    // Hands the bytes written so far to the system and gives the still open file to finished;
    // the buffer is closed. False, with error set to the first failure and the file closed, when
    // anything written since opening could not be stored, or nothing was open for writing.
    bool finishWriting(platform::NativeFile& finished, std::error_code& error);

protected:
    int_type overflow(int_type c) override;
    int sync() override;
    int_type underflow() override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir way, std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

private:
    // Writes the put area to the file (translated in text mode) and empties it.
    bool writeBuffered();
    // Reads and translates bytes into the get area; false at the end of the input or on an error.
    bool fill();
    // Translates size bytes just read into data in text mode, in place: a carriage return before
    // a line feed is dropped, a byte 0x1A ends the input, and a carriage return at the end is
    // held back. Returns the number of bytes kept.
    std::size_t translateInput(char* data, std::size_t size);
    void reset();

    platform::NativeFile file;
    std::unique_ptr<char[]> buffer;   // the put area or the get area
    std::unique_ptr<char[]> encoded;  // text output with carriage returns added
    bool textMode = false;
    bool writing = false;
    bool writeFailed = false;
    std::error_code writeError;  // why writeFailed was set
    bool inputEnded = false;     // end of the file, a byte 0x1A or a read error
    bool heldReturn = false;     // a carriage return at the end of the last read, not yet decided
};

// An output stream that owns its TextFileBuffer.
class TextFileOStream : public std::ostream {
public:
    // The base keeps only the buffer's address until the buffer is constructed.
    TextFileOStream() : std::ostream(&fileBuffer) {}
    TextFileBuffer& buffer() { return fileBuffer; }

private:
    TextFileBuffer fileBuffer;
};

// An input stream that owns its TextFileBuffer.
class TextFileIStream : public std::istream {
public:
    TextFileIStream() : std::istream(&fileBuffer) {}
    TextFileBuffer& buffer() { return fileBuffer; }

private:
    TextFileBuffer fileBuffer;
};

}  // namespace KpXml::detail

#endif  // KPXML_FILEIO_TEXTFILEBUFFER_H
