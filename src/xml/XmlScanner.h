#ifndef KPXML_XML_XMLSCANNER_H
#define KPXML_XML_XMLSCANNER_H

#include <cstddef>
#include <cstdint>
#include <exception>
#include <streambuf>
#include <string>

#include "xml/ParseEvents.h"
#include "xml/PlainTagReader.h"
#include "xml/TagTokenizer.h"
#include "xml/TextBuffer.h"

namespace KpXml::detail {

// Reads a document's bytes from a stream buffer and reports its tags to a ParseEvents: a
// forgiving single-pass state machine that never rejects input. It decodes references, gathers
// the text of the innermost element, and cuts tags into names and attributes in one of two ways:
// step by step (the tag's text gathered, then tokenized), or, where the direct reader says that
// gives the same, straight from the bytes read. Events is ParseEvents, or a final class derived
// from it (the tree builder) whose calls are then made directly.
template <typename Events>
class XmlScanner {
public:
    // direct: the reader of tags, texts and references that can be read straight from the bytes;
    // null to read everything step by step. The tables must outlive the scanner.
    XmlScanner(Events& events, const PlainTagReader* direct, const SeparatorSet& separators,
               const EntityMap& entities);

    // Reads in to its end (then reports streamEnd and returns false) or to the tag that ends the
    // document level (then puts back the bytes after it, reports documentEnd and returns true).
    // Bytes are taken in blocks from what the stream buffer holds in hand, so that the stream is
    // left right after the last byte used. What the stream buffer throws while reading is kept in
    // streamError, and reading ends there, as at the end of the stream.
    bool run(std::streambuf& in);

    std::exception_ptr streamError;

private:
    static constexpr std::size_t blockSize = 4096;
    // The most bytes of a tag carried over to the next block (see bytesToCarry).
    static constexpr std::size_t carryLimit = 256;

    // Reads into block what the stream buffer holds in hand, at most blockSize bytes; 0 at the end.
    std::size_t readBlock(std::streambuf& in, char* block);
    // Gives the bytes [unused, end) back to the stream buffer.
    static void returnUnused(std::streambuf& in, const char* unused, const char* end);

    // Handles the bytes [p, end), which are followed by endOfBytes (see PlainTagReader.h). Returns
    // null when all were used, or the position after the '>' that ended the document level.
    const char* consume(const char* p, const char* end);
    // Reads the markup at p (just after a '<' in text) straight from the bytes when the direct
    // reader takes it, with the run of text [run, runStop) before its '<' (not yet gathered);
    // the position after the markup, or null, having used nothing, when the direct reader
    // declines.
    const char* readTagDirectly(const char* p, const char* end, const char* run, const char* runStop);
    // When the count bytes of block ended inside a tag that is being gathered step by step and
    // is, so far, exactly the bytes after its '<', the number of bytes from that '<' on (at most
    // carryLimit); else 0. Without the tag, the scanner is as it was at that '<' in text, with the
    // text before it gathered: reading on from the '<' with more bytes after it, directly where
    // the direct reader allows that, reads the same tag.
    std::size_t bytesToCarry(const char* block, std::size_t count) const;
    // At the '>' that ends the gathered tag text: true when the document level has ended.
    bool endOfTag();
    // True when the tag text ends the level being read: "/" + the name its end tag waits for, or
    // at the document level the empty text.
    bool endsLevel(const std::string& tagText) const;
    // Appends what the reference read step by step (its name in entity) stands for to text.
    void appendTextReference();
    // Tokenizes the gathered tag text and reports it as a start tag, unless it is ignored whole.
    void startTagOfText();
    // Reports a start tag; an element that opens starts with no text.
    [[gnu::always_inline]] void reportStartTag() {
        if (events.startTag(startTag, at())) text.clear();
    }
    // Reports the end tag of the element being read, with text.
    [[gnu::always_inline]] void reportEndTag(std::string_view endText) {
        events.endTag(endText, at());
        text.clear();
    }
    // The stream position after the byte at cursor - 1.
    std::uint64_t at() const { return blockPosition + static_cast<std::uint64_t>(cursor - blockStart); }

    Events& events;
    const PlainTagReader* const direct;
    const SeparatorSet& separatorSet;
    const EntityMap& entities;

    std::uint64_t blockPosition = 0;  // the stream position of the block's first byte
    const char* blockStart = nullptr;
    const char* cursor = nullptr;  // after the last byte used, when an event is reported

    TextBuffer text;     // what the innermost level has gathered
    std::string referenceText;  // what a reference read step by step in text stands for
    std::string tag;     // the text of a tag read step by step, without '<' and '>'
    std::string entity;  // the name of a reference read step by step
    bool inTag = false;
    bool entityStart = false;
    bool inEntity = false;
    ParsedTag parsed;  // a tag cut by the tokenizer
    StartTag startTag;
    DirectTagBuffers directBuffers;
};

}  // namespace KpXml::detail

#endif
