// Reading files for the tool: the bytes as the library's own file input sees them, and parsing
// them with progress shown for large files.
#include "InputFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <istream>
#include <memory>
#include <streambuf>

#include <kpxml/KpXmlTree.h>

#include "Terminal.h"

namespace kpxmlcli {

namespace {

constexpr std::uint64_t progressThreshold = 100ull * 1024 * 1024;
constexpr std::size_t readBlockSize = 1024 * 1024;

// Hands a string to a stream reader one block at a time, so that progress can be shown as the
// reader asks for the next block. Only the beginning of the text can be sought.
class BlockBuffer : public std::streambuf {
public:
    BlockBuffer(const std::string& source, Progress& readProgress)
        : text(source), progress(readProgress) { showBlock(0); }

protected:
    int_type underflow() override {
        const std::size_t next = static_cast<std::size_t>(egptr() - const_cast<char*>(text.data()));
        if (next >= text.size()) return traits_type::eof();
        showBlock(next);
        progress.update(next);
        return traits_type::to_int_type(*gptr());
    }
    pos_type seekoff(off_type offset, std::ios_base::seekdir way, std::ios_base::openmode which) override {
        if (way != std::ios_base::beg) return pos_type(off_type(-1));
        return seekpos(pos_type(offset), which);
    }
    pos_type seekpos(pos_type position, std::ios_base::openmode) override {
        if (off_type(position) != 0) return pos_type(off_type(-1));
        showBlock(0);
        return position;
    }

private:
    void showBlock(std::size_t start) {
        char* begin = const_cast<char*>(text.data()) + start;
        const std::size_t length = std::min(readBlockSize, text.size() - start);
        setg(begin, begin, begin + length);
    }

    const std::string& text;
    Progress& progress;
};

}  // namespace

Progress::Progress(const std::string& progressLabel, std::uint64_t totalSize)
    : label(progressLabel), total(totalSize),
      enabled(totalSize > progressThreshold && standardErrorIsTerminal()) {}

Progress::~Progress() {
    if (enabled && shownPercent >= 0) std::cerr << "\r" << label << " 100%\n" << std::flush;
}

void Progress::update(std::uint64_t done) {
    if (!enabled) return;
    const int percent = static_cast<int>(done * 100 / total);
    if (percent == shownPercent) return;
    shownPercent = percent;
    std::cerr << "\r" << label << " " << percent << "%" << std::flush;
}

namespace {

// Reads all of file as the library reads its files in text mode, showing progress under label
// for a file of the given size (0: unknown).
bool readTextMode(std::FILE* file, const std::string& label, std::uint64_t size, std::string& text, std::string& reason) {
    Progress progress(label, size);
    text.clear();
    std::unique_ptr<char[]> block(new char[readBlockSize]);
    std::uint64_t done = 0;
    bool heldReturn = false;  // a carriage return at the end of the last block, not yet decided
    std::size_t count;
    errno = 0;
    while ((count = std::fread(block.get(), 1, readBlockSize, file)) > 0) {
        done += count;
        progress.update(done);
        for (std::size_t i = 0; i < count; ++i) {
            const char c = block[i];
            if (heldReturn && c != '\n') text += '\r';
            heldReturn = false;
            if (c == '\x1a') return true;
            if (c == '\r') {
                heldReturn = true;
            } else {
                text += c;
            }
        }
    }
    if (std::ferror(file)) {
        reason = std::strerror(errno != 0 ? errno : EIO);
        return false;
    }
    if (heldReturn) text += '\r';
    return true;
}

}  // namespace

bool readTextFile(const std::string& path, std::string& text, std::string& reason) {
    std::error_code error;
    if (KpXmlTree::readText(path, text, error)) return true;
    reason = error.message();
    return false;
}

bool readInput(const std::string& name, std::string& text, std::string& reason) {
    if (name == standardStreamName) return readTextMode(stdin, "kpxml: reading standard input", 0, text, reason);
    return readTextFile(name, text, reason);
}

void parseText(const std::string& text, const std::string& label, KpXmlTree& document) {
    Progress progress(label, text.size());
    BlockBuffer buffer(text, progress);
    std::istream in(&buffer);
    document.buildOfStream(in);
}

bool loadDocument(const std::string& path, KpXmlTree& document, std::string& text) {
    std::string reason;
    if (!readInput(path, text, reason)) {
        std::cerr << "kpxml: " << path << ": " << reason << "\n";
        return false;
    }
    parseText(text, "kpxml: parsing " + path, document);
    return true;
}

bool hasElement(const KpXmlTree& document) {
    return document.getRoot() != nullptr && !document.getRoot()->getName().empty();
}

}  // namespace kpxmlcli
