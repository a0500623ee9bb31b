#ifndef KPXML_XML_PLAINTAGREADER_H
#define KPXML_XML_PLAINTAGREADER_H

#include <array>
#include <cstddef>
#include <map>
#include <string>
#include <vector>


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

// The first byte in [p, end) whose entry in classes has a bit of wanted, or end. Four bytes are
// tested per round, since most runs between markup bytes are several bytes long.
inline const char* findByteOfClass(const char* p, const char* end, const ByteClasses& classes, unsigned char wanted) {
    auto inClass = [&](char c) { return (classes[static_cast<unsigned char>(c)] & wanted) != 0; };
    for (; end - p >= 4; p += 4) {
        if (inClass(p[0])) return p;
        if (inClass(p[1])) return p + 1;
        if (inClass(p[2])) return p + 2;
        if (inClass(p[3])) return p + 3;
    }
    while (p != end && !inClass(*p)) ++p;
    return p;
}

// Appends to target what the reference named name (the text between "&" or "&#" and ";") stands
// for: its entry in entities, or else the character of its decimal code. In text (inTag false)
// a code whose low byte is a tab, line feed or carriage return is dropped. A code of 256 or more
// goes through the ANSI code page; when wide is false it is left alone instead: nothing is
// appended and the result is false.
bool appendReference(const std::string& name, const EntityMap& entities, bool inTag, bool wide, std::string& target);

// A start tag of the ordinary form, read straight from the input bytes: a name, then attributes
// written name="value" with separators before each, and an optional '/' before the '>'. The
// spans point into the bytes read and stay valid as long as they do.
struct PlainTag {
    struct Attribute {
        const char* name = nullptr;
        std::size_t nameLength = 0;
        // The value, references resolved and "&quot;" already turned into a double quote: the
        // bytes read themselves when it holds no reference (value not null), otherwise decoded.
        const char* value = nullptr;
        std::size_t valueLength = 0;
        std::string decoded;

        // The value as a string of its own.
        std::string valueText() const { return value != nullptr ? std::string(value, valueLength) : decoded; }
    };
    const char* name = nullptr;
    std::size_t nameLength = 0;
    std::vector<Attribute> attributes;  // buffers reused from tag to tag
    std::size_t attributeCount = 0;     // entries of attributes in use
    bool open = false;                  // no '/' before the '>': an element with content follows
};

// Reads start tags of the ordinary form, for which tokenizing the tag text gives exactly the name,
// attributes and open flag read here: the name holds no separator, '/', '=', '"', '&', '<';
// attribute names none of these either; values no '"', '<', '>', and references in them only of
// the form "&" + one of # a g l q + name + ";" that stand for text without a double quote and are
// not codes of 256 or more; no attribute name twice. Anything else is left to the tokenizer.
class PlainTagReader {
public:
    // separators: the bytes that separate the parts of a tag. The entity table must outlive the reader.
    PlainTagReader(const std::string& separators, const EntityMap& entities);

    // Reads the tag whose text starts at p (just after its '<') and ends with a '>' before end.
    // Returns the position after that '>' with the tag in tag, or null, having used nothing, when
    // the tag is not of the ordinary form or does not end before end.
    const char* read(const char* p, const char* end, PlainTag& tag);

    // Reads a reference in text from p (just after its '&'): one of # a g l q + name + ";" before
    // end, whose name is an entry of the entity table. Appends what it stands for to text and
    // returns the position after the ';'; null, having used nothing, for any other reference.
    const char* readTextReference(const char* p, const char* end, std::string& text) const;

private:
    // Bits of byteClasses.
    static constexpr unsigned char separator = 1;
    static constexpr unsigned char endsName = 2;       // separator / = " & < >
    static constexpr unsigned char endsValueRun = 4;   // " & < >
    static constexpr unsigned char endsReference = 8;  // ; " & < >

    const char* skip(const char* p, const char* end, unsigned char stopClass) const {
        return findByteOfClass(p, end, byteClasses, stopClass);
    }
    const char* skipSeparators(const char* p, const char* end) const {
        while (p != end && (byteClasses[static_cast<unsigned char>(*p)] & separator) != 0) ++p;
        return p;
    }
    // Reads a value from p (after its opening quote) into attribute; the position of the closing
    // quote, or null when the value is not of the ordinary form.
    const char* readValue(const char* p, const char* end, PlainTag::Attribute& attribute);

    static constexpr std::size_t maxAttributes = 16;

    // An entry of the entity table, with what its text holds.
    struct KnownReference {
        const std::string* name;
        const std::string* text;
        bool holdsQuote;      // it would end a value early: left to the tokenizer
        bool holdsAmpersand;  // "&quot;" may form with what follows
    };

    // The entry of the entity table named [name, name + length), or null.
    const KnownReference* findKnown(const char* name, std::size_t length) const;

    ByteClasses byteClasses{};
    const EntityMap& entities;
    std::vector<KnownReference> knownReferences;
    std::size_t longestKnownName = 0;
    std::string referenceName;
};

}  // namespace KpXml::detail

#endif
