#include "fileio/TextFileBuffer.h"

#include <cstring>
#include <utility>

namespace KpXml::detail {
namespace {

constexpr char carriageReturn = '\r';
constexpr char lineFeed = '\n';
constexpr char endOfTextByte = '\x1A';  // ends text-mode input, as on Windows

}  // namespace

TextFileBuffer::~TextFileBuffer() { close(); }

void TextFileBuffer::openForWrite(platform::NativeFile&& opened, bool text) {
    close();
    file = std::move(opened);
    buffer.reset(new char[bufferCapacity]);
    if (text) encoded.reset(new char[2 * bufferCapacity]);
    textMode = text;
    writing = true;
    setp(buffer.get(), buffer.get() + bufferCapacity);
}

bool TextFileBuffer::openForRead(const char* path, bool text, std::error_code& error) {
    close();
    if (!file.openForRead(path)) {
        error = file.error();
        return false;
    }
    buffer.reset(new char[bufferCapacity]);
    textMode = text;
    writing = false;
    setg(buffer.get(), buffer.get(), buffer.get());
    return true;
}

bool TextFileBuffer::copyFrom(platform::NativeFile& source) {
    if (!isOpen() || !writing || !writeBuffered()) return false;
    if (!platform::copyContent(source, file, writeError)) writeFailed = true;
    return !writeFailed;
}

bool TextFileBuffer::finishWriting(platform::NativeFile& finished, std::error_code& error) {
    if (!isOpen() || !writing) {
        error = std::make_error_code(std::errc::bad_file_descriptor);
        return false;
    }
    if (!writeBuffered() || writeFailed) {
        error = writeError;
        close();
        return false;
    }
    finished = std::move(file);
    reset();
    return true;
}

bool TextFileBuffer::close() {
    if (!isOpen()) return false;
    bool ok = true;
    if (writing) ok = writeBuffered() && !writeFailed;
    if (!file.close()) ok = false;
    reset();
    return ok;
}

void TextFileBuffer::reset() {
    setp(nullptr, nullptr);
    setg(nullptr, nullptr, nullptr);
    buffer.reset();
    encoded.reset();
    textMode = false;
    writing = false;
    writeFailed = false;
    writeError.clear();
    inputEnded = false;
    heldReturn = false;
}

bool TextFileBuffer::writeBuffered() {
    const char* begin = pbase();
    const char* end = pptr();
    if (begin == end) return true;
    setp(buffer.get(), buffer.get() + bufferCapacity);
    const char* data = begin;
    std::size_t size = static_cast<std::size_t>(end - begin);
    if (textMode) {
        // Whole lines at a time: each run up to a line feed (found with memchr) is copied at
        // once and followed by carriage return and line feed.
        char* out = encoded.get();
        const char* p = begin;
        while (const void* found = std::memchr(p, lineFeed, static_cast<std::size_t>(end - p))) {
            const auto* feed = static_cast<const char*>(found);
            std::memcpy(out, p, static_cast<std::size_t>(feed - p));
            out += feed - p;
            *out++ = carriageReturn;
            *out++ = lineFeed;
            p = feed + 1;
        }
        std::memcpy(out, p, static_cast<std::size_t>(end - p));
        out += end - p;
        data = encoded.get();
        size = static_cast<std::size_t>(out - data);
    }
    // What could not be written is dropped; the failure shows at close (and in sync).
    if (!writeFailed && !file.write(data, size)) {
        writeFailed = true;
        writeError = file.error();
    }
    return !writeFailed;
}

TextFileBuffer::int_type TextFileBuffer::overflow(int_type c) {
    if (!isOpen() || !writing) return traits_type::eof();
    if (!writeBuffered()) return traits_type::eof();
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return c;
}

// The writer flushes its stream after every line. The output file is a private temporary file
// until the commit renames it, so holding bytes back shows nobody anything: rather than a system
// call per line, the bytes go to the system only when the buffer is full and at close. Sync
// reports an earlier write failure, so a flush after a failed write still sets badbit.
int TextFileBuffer::sync() { return writeFailed ? -1 : 0; }

TextFileBuffer::int_type TextFileBuffer::underflow() {
    if (gptr() != egptr()) return traits_type::to_int_type(*gptr());
    if (!fill()) return traits_type::eof();
    return traits_type::to_int_type(*gptr());
}

bool TextFileBuffer::fill() {
    if (!isOpen() || writing || inputEnded) return false;
    char* data = buffer.get();
    for (;;) {
        std::size_t start = 0;
        if (heldReturn) {
            data[start++] = carriageReturn;
            heldReturn = false;
        }
        const std::ptrdiff_t count = file.read(data + start, bufferCapacity - start);
        if (count <= 0) {
            // The end of the file (a read error ends the input as well): a carriage return held
            // from the last read is the final byte.
            inputEnded = true;
            setg(data, data, data + start);
            return start > 0;
        }
        const std::size_t size = start + static_cast<std::size_t>(count);
        if (!textMode) {
            setg(data, data, data + size);
            return true;
        }
        const std::size_t out = translateInput(data, size);
        setg(data, data, data + out);
        if (out > 0) return true;
        if (inputEnded) return false;
        // Only a carriage return came: read on.
    }
}

// Works through whole runs between carriage returns (found with memchr) rather than byte by byte;
// the output never gets ahead of the input, so the text moves within the buffer.
std::size_t TextFileBuffer::translateInput(char* data, std::size_t size) {
    if (const void* endOfText = std::memchr(data, endOfTextByte, size)) {
        size = static_cast<std::size_t>(static_cast<const char*>(endOfText) - data);
        inputEnded = true;
    }
    std::size_t out = 0;
    std::size_t runStart = 0;  // the first byte not yet moved to out
    for (std::size_t i = 0;; ++i) {
        const void* found = std::memchr(data + i, carriageReturn, size - i);
        if (found == nullptr) break;
        i = static_cast<std::size_t>(static_cast<const char*>(found) - data);
        if (i + 1 == size) {
            // Whether a line feed follows shows in the next read, unless the input ends here.
            if (!inputEnded) {
                heldReturn = true;
                size = i;
            }
            break;
        }
        if (data[i + 1] == lineFeed) {
            std::memmove(data + out, data + runStart, i - runStart);
            out += i - runStart;
            runStart = i + 1;
        }
    }
    std::memmove(data + out, data + runStart, size - runStart);
    return out + (size - runStart);
}

TextFileBuffer::pos_type TextFileBuffer::seekoff(off_type offset, std::ios_base::seekdir way,
                                                 std::ios_base::openmode which) {
    if (offset != 0 || way != std::ios_base::beg) return pos_type(off_type(-1));
    return seekpos(pos_type(off_type(0)), which);
}

TextFileBuffer::pos_type TextFileBuffer::seekpos(pos_type position, std::ios_base::openmode which) {
    const pos_type failed(off_type(-1));
    if (off_type(position) != 0 || (which & std::ios_base::in) == 0) return failed;
    if (!isOpen() || writing || !file.seekToStart()) return failed;
    setg(buffer.get(), buffer.get(), buffer.get());
    inputEnded = false;
    heldReturn = false;
    return position;
}

}  // namespace KpXml::detail
