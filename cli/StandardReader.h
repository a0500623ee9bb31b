#ifndef KPXML_CLI_STANDARDREADER_H
#define KPXML_CLI_STANDARDREADER_H

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace kpxmlcli {

// One element as a standard XML reader sees it.
struct StandardElement {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string text;                 // all its character data, joined
    std::vector<std::size_t> children;
    std::size_t offset = 0;           // of its '<'
};

// A place in the input where the KpXml dialect may read something else than standard XML says.
struct Construct {
    enum Kind {
        Comment,               // text: the whole comment
        ProcessingInstruction, // text: the whole instruction
        Doctype,               // text: the whole declaration
        CData,                 // text: the whole section
        LineFeedInTag,         // name: the element
        BlankInEndTag,         // name: the element
        GreaterThanInValue,    // name: the attribute
        SingleQuotes,          // name: the attribute
        BreakInValue,          // name: the attribute
        QuoteReferenceInValue, // name: the attribute; text: the reference
        QuotInText,
        TextBeforeChild,       // text: the text; name: the child
        BreakInText,
        BreakReferenceInText,  // text: the reference
        GreaterThanInText,
        HexReference,          // text: the reference
        UnknownEntity,         // text: the reference
        WideReference,         // text: the reference
        UnmatchedEndTag,       // name: the end tag's name; text: the open element's name
        SecondRoot,            // name: the element
        EightBitText,          // the first byte above 127; text: the encoding the file is read in
        ByteOrderMark,         // a UTF-8 byte order mark at the start
        NotWellFormed          // text: what is wrong; reading stopped here
    };
    Kind kind;
    std::size_t offset;
    std::string text;
    std::string name;
};

// The result of reading a document as standard XML 1.0 (without external entities or
// declarations from a DOCTYPE): its elements, root first, and the constructs met in order.
struct StandardDocument {
    std::vector<StandardElement> elements;
    std::vector<Construct> constructs;
    bool wellFormed = true;
};

// Reads text as standard XML. A character reference of 128 or more is stored as
// wideCharacter(code) gives it, so that the text can be compared byte for byte with a reader
// that holds text in a code page. Reading goes on after errors that the KpXml dialect explains
// (unknown entities, unmatched end tags) and stops at the first other error.
StandardDocument readStandard(const std::string& text, const std::function<std::string(unsigned)>& wideCharacter);

}  // namespace kpxmlcli

#endif
