// The documents the benchmarks parse and write, and an input stream over a text without a copy.
#ifndef KPXML_BENCH_DOCUMENTS_H
#define KPXML_BENCH_DOCUMENTS_H

#include <cstddef>
#include <istream>
#include <streambuf>
#include <string>

namespace bench {

// A document like the files KpXml writes, with about targetBytes bytes: records with three
// attributes, numeric leaves X, Y, Z and a text that needs escaping, indented by two spaces.
std::string generatedDocument(std::size_t targetBytes);
// Another record-like document of about targetBytes bytes, in another style: orders with a
// customer, an address with attributes only, one to four order lines with a text each, and a total;
// names and texts of other lengths, empty elements written `<a/>`, the UTF-8 declaration.
std::string orderDocument(std::size_t targetBytes);
// One root with count children `<item id="N" />`, as KpXml writes it.
std::string wideDocument(std::size_t count);
// depth elements nested in each other, as KpXml writes them without indentation.
std::string deepDocument(std::size_t depth);

// A path in $TMPDIR (or /tmp) for a file of this process named name.
std::string temporaryPath(const char* name);
// Writes text to the file at path, replacing it.
void writeFile(const std::string& path, const std::string& text);
// The whole file at path, read in one piece into a string of its size; empty when it cannot be read.
std::string readFile(const std::string& path);

// An input stream buffer over text that is not copied; it can be positioned anywhere, as a string
// stream can.
class TextViewBuffer : public std::streambuf {
public:
    explicit TextViewBuffer(const std::string& text);

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir way, std::ios_base::openmode) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;
};

// An std::istream over text, without a copy.
struct TextStream {
    explicit TextStream(const std::string& text) : buffer(text), in(&buffer) {}
    TextViewBuffer buffer;
    std::istream in;
};

}  // namespace bench

#endif
