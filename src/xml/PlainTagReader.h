#ifndef KPXML_XML_PLAINTAGREADER_H
#define KPXML_XML_PLAINTAGREADER_H

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "xml/ParseEvents.h"
#include "xml/ShortCopy.h"
#include "xml/TagTokenizer.h"


namespace KpXml::detail {

// Tab, line feed and carriage return: dropped from text outside tags.
inline bool isTabOrLineBreak(char c) {
    return c == '\t' || c == '\n' || c == '\r';
}

// The bytes that start a reference after an '&' ('#' is not kept in its name); in text and tags
// every byte before the first of them is dropped.
inline bool startsReference(char c) {
    return c == '#' || c == 'a' || c == 'g' || c == 'l' || c == 'q';
}

using EntityMap = std::map<std::string, std::string>;

// Bit sets of bytes: a bit of the entry of each byte that belongs to the set.
using ByteClasses = std::array<unsigned char, 256>;

// The byte the scanner keeps right after the bytes in hand. It ends every run that the searches
// below look for (text, tag text, names, values and reference names all end at a '<'), so that
// they need no bound: a search stops at the latest at end, where this byte stands.
constexpr char endOfBytes = '<';

// p, passed through an empty assembler statement that the compiler must assume changes it. A
// search's result goes through it so that the caller reads the byte there once more (one load),
// instead of the search keeping a copy of every byte it tests in case it is the last (one move
// per byte). Only where that measured fewer instructions: elsewhere the copy costs less than the
// registers the reload ties up.
inline const char* forgetOrigin(const char* p) {
    asm("" : "+r"(p));
    return p;
}

// The first byte from p on for which stopsAt holds, where it holds for a byte at the end of the
// bytes (see endOfBytes). Four bytes are tested per round, since most runs between markup bytes
// are several bytes long.
template <typename Stop>
inline const char* findByte(const char* p, Stop stopsAt) {
    for (;; p += 4) {
        if (stopsAt(p[0])) return p;
        if (stopsAt(p[1])) return p + 1;
        if (stopsAt(p[2])) return p + 2;
        if (stopsAt(p[3])) return p + 3;
    }
}

// The first byte from p on whose entry in classes has a bit of wanted, where the bytes are
// followed by endOfBytes and its entry has such a bit.
inline const char* findByteOfClass(const char* p, const ByteClasses& classes, unsigned char wanted) {
    return findByte(p, [&](char c) { return (classes[static_cast<unsigned char>(c)] & wanted) != 0; });
}

// The first byte from p on whose entry in classes has no bit of skipped, where the bytes are
// followed by endOfBytes and its entry has no such bit.
inline const char* findByteOutsideClass(const char* p, const ByteClasses& classes, unsigned char skipped) {
    return findByte(p, [&](char c) { return (classes[static_cast<unsigned char>(c)] & skipped) == 0; });
}

// Appends to target what the reference named name (the text between "&" or "&#" and ";") stands
// for: its entry in entities, or else the character of its decimal code. In text (inTag false)
// a code whose low byte is a tab, line feed or carriage return is dropped. A code of 256 or more
// goes through the ANSI code page; when wide is false it is left alone instead: nothing is
// appended and the result is false.
bool appendReference(const std::string& name, const EntityMap& entities, bool inTag, bool wide, std::string& target);

// The entity table every document starts with.
const EntityMap& defaultEntityMap();

// The buffers the direct reading of tags fills, reused from tag to tag.
struct DirectTagBuffers {
    // The values of the tag being read whose references were resolved, one after another. The
    // views of earlier values point into it: when a value needs more room, it moves on into a
    // larger array, and the one it leaves stays in retired until the next tag starts.
    std::unique_ptr<char[]> decoded;
    std::size_t decodedCapacity = 0;
    std::size_t decodedUsed = 0;  // by the tag being read
    std::vector<std::unique_ptr<char[]>> retired;
    std::string referenceName;
    std::string scratch;  // what a character code or a "&quot;" replacement gives
};

// The rules for reading markup straight from the input bytes, all in one place. Each function
// takes a piece of markup only when reading it directly gives exactly what the step-by-step
// reading (gathering the tag's text, then the tag tokenizer, or the reference's name, then the
// entity table) gives; otherwise it returns null having used nothing, and the scanner reads the
// piece step by step. A piece must end before the end of the bytes in hand, and the byte right
// after them must be endOfBytes; start tags and references need no other bound, as that byte
// declines a piece that reaches it. The pieces:
// - a start tag: a name, then attributes written name="value" with separators before each, and
//   an optional '/' before the '>'. The name holds no separator, '/', '=', '"', '&', '<';
//   attribute names none of these either; values no '"', '<', '>', and references in them only
//   of the form "&" + one of # a g l q + name + ";" that stand for text without a double quote
//   and are not codes of 256 or more; at most 16 attributes, no name twice; and only where no
//   separator is one of / = " & < >;
// - the end tag of the element being read: "/" + its name + ">", when the name holds no '&',
//   '<' or '>' (so that this '>' is the first one after the '<' and nothing in it starts a
//   reference or a new tag);
// - an instruction or declaration "?...>" without an '&' before its '>';
// - a reference in text to an entry of the entity table: one of a g l q + name + ";".
// The reader holds the tables it was made for and no state: one reader serves every parse.
class PlainTagReader {
public:
    // The most attributes a start tag read directly has.
    static constexpr std::size_t maxAttributes = 16;

    // separators: the bytes that separate the parts of a tag.
    PlainTagReader(const std::string& separators, const EntityMap& entities);
    PlainTagReader(const PlainTagReader&) = delete;
    PlainTagReader& operator=(const PlainTagReader&) = delete;

    // The reader for these tables: for the tables every document starts with (an empty entity
    // table stands for the default one), one built on first use and shared from then on; for
    // any others, one built into own and returned.
    static const PlainTagReader& forTables(const std::string& separators, const EntityMap& entities,
                                           std::optional<PlainTagReader>& own);

    // Makes room in tag.attributes for the attributes of any start tag read directly, as
    // readStartTag needs; the room stays from tag to tag.
    static void makeRoomForAttributes(StartTag& tag);

    // Reads the start tag whose text starts at p (just after its '<'; at the latest at the mark
    // after the bytes in hand), where tag has room for its attributes (see
    // makeRoomForAttributes). Returns the position after its '>' with the tag in tag (values
    // that needed decoding in buffers), or null.
    const char* readStartTag(const char* p, StartTag& tag, DirectTagBuffers& buffers) const {
        const char* const name = p;
        p = skip(p, endsName);
        if (p == name) return nullptr;  // (readAttributes declines the mark after the bytes in hand)
        tag.name = std::string_view(name, static_cast<std::size_t>(p - name));
        tag.blank = false;
        tag.namesDiffer = true;  // a repeated name is left to the step-by-step reading
        tag.plainName = true;    // '&', '<' and '>' end a name
        if ((byteClasses[static_cast<unsigned char>(*p)] & endsAttributes) != 0) {  // most tags without attributes
            tag.attributeCount = 0;
            return readTagEnd(p, tag);
        }
        return readAttributes(p, tag, buffers);
    }

    // Reads the end tag "/" + name + ">" at p (just after its '<', at its '/'), where plain says
    // whether the name is plain (see isPlainName); the position after it, or null.
    static const char* readEndTag(const char* p, const char* end, std::string_view name, bool plain) {
        const std::size_t length = name.size() + 2;  // "/" + the name + ">"
        if (!plain || static_cast<std::size_t>(end - p) < length || p[length - 1] != '>') return nullptr;
        return equalBytes(p + 1, name.data(), name.size()) ? p + length : nullptr;
    }

    // True when name holds no '&', '<' or '>', so that its end tag can be read directly; the
    // names of start tags read directly always are.
    static bool isPlainName(std::string_view name) { return name.find_first_of("&<>") == std::string_view::npos; }

    // Skips the instruction at p (just after its '<', at the '?'); the position after it, or null.
    static const char* readInstruction(const char* p, const char* end);

    // A reference in text read directly: the position after its ';' (null when it was not read)
    // and what it stands for.
    struct TextReference {
        const char* after;
        const std::string_view* replacement;
    };
    // Reads a reference in text from p (just after its '&'; at the latest at the mark after the
    // bytes in hand); after is null when it is left to the step-by-step reading.
    TextReference readTextReference(const char* p) const;

    // The tables the reader was made for.
    const SeparatorSet& separators() const { return separatorSet; }
    const EntityMap& entities() const { return entityTable; }

private:
    // Bits of byteClasses.
    static constexpr unsigned char separator = 1;
    static constexpr unsigned char endsName = 2;         // separator / = " & < >
    static constexpr unsigned char endsValueRun = 4;     // " & < >
    static constexpr unsigned char endsReference = 8;    // ; " & < >
    static constexpr unsigned char startsName = 16;      // the bytes of startsReference but '#'
    static constexpr unsigned char endsAttributes = 32;  // / >

    // True when c starts the name of a reference that may be in the entity table: a byte of
    // startsReference other than '#', which starts a character code.
    bool startsReferenceName(char c) const { return (byteClasses[static_cast<unsigned char>(c)] & startsName) != 0; }
    // The first byte from p of a class of stopClass, which includes '<' (the mark after the bytes).
    const char* skip(const char* p, unsigned char stopClass) const { return forgetOrigin(findByteOfClass(p, byteClasses, stopClass)); }
    // The first byte from p on that is not a separator: end at the latest, as endOfBytes is not
    // one where start tags are read.
    const char* skipSeparators(const char* p) const {
        while ((byteClasses[static_cast<unsigned char>(*p)] & separator) != 0) ++p;
        return forgetOrigin(p);
    }
    // Reads the attributes of a start tag from p, after its name (at a byte other than '>' and
    // '/'), into tag; the position after the tag's '>', or null.
    const char* readAttributes(const char* p, StartTag& tag, DirectTagBuffers& buffers) const;
    // Reads the "/>" or '>' at p that ends a start tag, noting in tag which it is; the position
    // after it, or null when a '/' is not followed by '>'.
    static const char* readTagEnd(const char* p, StartTag& tag) {
        tag.open = *p == '>';
        if (tag.open) return p + 1;
        return p[1] == '>' ? p + 2 : nullptr;  // (the mark after the bytes in hand is not '>')
    }
    // Reads into value, decoded into buffers, the value that starts at start (after its opening
    // quote) and holds a reference or a '<' or '>' at p, the first byte of class endsValueRun;
    // the position of the closing quote, or null when the value is not of the ordinary form.
    const char* readDecodedValue(const char* start, const char* p, std::string_view& value,
                                 DirectTagBuffers& buffers) const;
    // Puts into buffers.scratch what the reference named [name, name + length) (the text between
    // "&" or "&#" and ";") stands for in a value when it is no entry of the table: a character
    // code. False when that is left to the step-by-step reading (a code of 256 or more, or one
    // that gives a double quote). Kept out of readDecodedValue, as seldom needed.
    [[gnu::noinline]] bool decodeOtherReference(const char* name, std::size_t length, DirectTagBuffers& buffers) const;
    // Replaces each "&quot;" in the length bytes at value with a double quote; the new length.
    [[gnu::noinline]] static std::size_t replaceQuotesInPlace(char* value, std::size_t length, DirectTagBuffers& buffers);
    // Moves the value being decoded, the length bytes at first in buffers.decoded, into a larger
    // array with room for more bytes after it, keeping the array it leaves until the next tag;
    // where the value starts in the new array.
    static char* growDecoded(DirectTagBuffers& buffers, const char* first, std::size_t length, std::size_t more);

    // An entry of the entity table, with what its text holds.
    struct KnownReference {
        std::string_view name;  // of the table's own strings
        std::string_view text;
        bool holdsQuote;      // it would end a value early: left to the tokenizer
        bool holdsAmpersand;  // "&quot;" may form with what follows
    };

    // The entries of knownReferences whose names start with one byte: they follow each other, as
    // the table sorts its entries by name.
    struct KnownRange {
        const KnownReference* begin = nullptr;
        const KnownReference* end = nullptr;
    };

    // The entry of the entity table whose name, followed by ';', starts at name (a byte of the
    // bytes in hand), with the position after that ';' in after; null when there is none. Entries
    // whose names hold one of ; " & < > are never found, so that this is the entry that the name up
    // to the first ';' names.
    const KnownReference* matchKnown(const char* name, const char*& after) const;
    // The entry of the entity table named [name, name + length), where name[length] is the first
    // ';' after name (the search for it stopped at the first of ; " & < >), or null. As matchKnown,
    // and the empty name too.
    const KnownReference* findKnown(const char* name, std::size_t length) const;

    ByteClasses byteClasses{};
    const EntityMap entityTable;
    const SeparatorSet separatorSet;
    std::vector<KnownReference> knownReferences;
    std::vector<KnownRange> knownByFirstByte;  // by byte; on the heap, as readers are made on the stack
};

}  // namespace KpXml::detail

#endif
