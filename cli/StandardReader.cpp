// A small reader of standard XML 1.0: elements, attributes, text, the five predefined entities,
// character references, comments, processing instructions, CDATA sections and a DOCTYPE (skipped,
// its declarations unused). It records on the way every construct that the KpXml dialect reads
// in its own way, for the check command to explain.
#include "StandardReader.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

namespace kpxmlcli {

namespace {

const char* const byteOrderMark = "\xEF\xBB\xBF";

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool isNameCharacter(char c) {
    return c != '\0' && !isBlank(c) && std::strchr("<>/=\"'&;!?", c) == nullptr;
}

class Reader {
public:
    Reader(const std::string& input, const std::function<std::string(unsigned)>& wide)
        : text(input), wideCharacter(wide) {}

    StandardDocument run() {
        if (startsWith(byteOrderMark)) {
            note(Construct::ByteOrderMark, 0);
            pos = std::strlen(byteOrderMark);
        }
        noteEncoding();
        while (pos < text.size() && document.wellFormed) {
            if (text[pos] == '<') {
                markup();
            } else if (text[pos] == '&') {
                std::string decoded;
                const std::size_t start = pos;
                if (reference(false, "", decoded)) characterData(decoded, start, false);
            } else {
                if (text[pos] == '>' && !open.empty()) note(Construct::GreaterThanInText, pos);
                characterData(std::string(1, text[pos]), pos, true);
                ++pos;
            }
        }
        if (document.wellFormed && !open.empty()) {
            fail(text.size(), "the input ends inside element <" + element(open.back()).name + ">");
        } else if (document.wellFormed && document.elements.empty()) {
            fail(text.size(), "no element");
        }
        return std::move(document);
    }

private:
    // Notes the first byte above 127 with the encoding that a standard reader decodes it in: the
    // one the declaration names, else UTF-8.
    void noteEncoding() {
        const auto high = std::find_if(text.begin() + static_cast<std::ptrdiff_t>(pos), text.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
        if (high == text.end()) return;
        std::string encoding = "UTF-8";
        const std::size_t declarationEnd = startsWith("<?xml") ? std::min(text.find("?>"), text.size()) : 0;
        const std::size_t name = text.find("encoding", pos);
        if (name < declarationEnd) {
            const std::size_t opening = text.find_first_of("\"'", name);
            const std::size_t closing = opening < declarationEnd ? text.find(text[opening], opening + 1) : std::string::npos;
            if (closing < declarationEnd) encoding = text.substr(opening + 1, closing - opening - 1);
        }
        // Encoding names are compared without regard to case; shown in capitals, as registered.
        for (char& c : encoding) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        note(Construct::EightBitText, static_cast<std::size_t>(high - text.begin()), encoding);
    }

    // The text gathered in one open element since its last child with content.
    struct Segment {
        std::string text;
        std::size_t start = std::string::npos;  // offset of its first character that is not blank
        std::size_t lineBreak = std::string::npos;  // a line break or tab after that character
        bool breakReported = false;
    };

    StandardElement& element(std::size_t index) { return document.elements[index]; }

    void note(Construct::Kind kind, std::size_t offset, const std::string& what = "", const std::string& name = "") {
        document.constructs.push_back(Construct{kind, offset, what, name});
    }

    void fail(std::size_t offset, const std::string& reason) {
        note(Construct::NotWellFormed, offset, reason);
        document.wellFormed = false;
    }

    bool startsWith(const char* prefix) const { return text.compare(pos, std::strlen(prefix), prefix) == 0; }

    std::string readName() {
        const std::size_t start = pos;
        while (pos < text.size() && isNameCharacter(text[pos])) ++pos;
        return text.substr(start, pos - start);
    }

    // Skips blanks; returns whether there were any and records the first line break among them.
    bool skipBlanks(std::size_t& lineBreak) {
        const std::size_t start = pos;
        while (pos < text.size() && isBlank(text[pos])) {
            if ((text[pos] == '\n' || text[pos] == '\r') && lineBreak == std::string::npos) lineBreak = pos;
            ++pos;
        }
        return pos > start;
    }

    // Character data at the current level; offset is where it starts in the input. Raw data is
    // as written in the input, other data comes from a reference (and has no blanks to drop).
    void characterData(const std::string& decoded, std::size_t offset, bool raw) {
        if (open.empty()) {
            for (const char c : decoded) {
                if (!isBlank(c)) return fail(offset, "text outside the root element");
            }
            return;
        }
        element(open.back()).text += decoded;
        Segment& segment = segments.back();
        segment.text += decoded;
        for (const char c : decoded) {
            if (c == ' ') continue;
            if (raw && isBlank(c)) {
                if (segment.start != std::string::npos && segment.lineBreak == std::string::npos) segment.lineBreak = offset;
                continue;
            }
            if (segment.lineBreak != std::string::npos && !segment.breakReported) {
                note(Construct::BreakInText, segment.lineBreak);
                segment.breakReported = true;
            }
            segment.lineBreak = std::string::npos;
            if (segment.start == std::string::npos) segment.start = offset;
        }
    }

    // Reads the reference at pos ('&') and appends what it stands for to out; attribute names
    // the value it is read in, empty in text. False after an error.
    bool reference(bool inValue, const std::string& attribute, std::string& out) {
        const std::size_t start = pos;
        const std::size_t semicolon = text.find(';', pos);
        std::size_t end = pos + 1;
        while (end < text.size() && (isNameCharacter(text[end]) || text[end] == '#')) ++end;
        if (semicolon == std::string::npos || end != semicolon || end == pos + 1) {
            fail(start, "'&' that starts no entity or character reference");
            return false;
        }
        const std::string name = text.substr(pos + 1, semicolon - pos - 1);
        const std::string whole = "&" + name + ";";
        pos = semicolon + 1;
        static const char* const predefined[][2] = {{"lt", "<"}, {"gt", ">"}, {"amp", "&"}, {"apos", "'"}, {"quot", "\""}};
        for (const auto& entity : predefined) {
            if (name == entity[0]) {
                if (name == "quot" && !inValue) note(Construct::QuotInText, start);
                out += entity[1];
                return true;
            }
        }
        if (name[0] != '#') {
            note(Construct::UnknownEntity, start, whole);
            return true;
        }
        const bool hexadecimal = name.size() > 1 && name[1] == 'x';
        const std::string digits = name.substr(hexadecimal ? 2 : 1);
        char* digitsEnd = nullptr;
        const unsigned long code = std::strtoul(digits.c_str(), &digitsEnd, hexadecimal ? 16 : 10);
        if (digits.empty() || *digitsEnd != '\0' || !std::isalnum(static_cast<unsigned char>(digits[0])) ||
            code == 0 || code > 0x10FFFF) {
            fail(start, "invalid character reference " + whole);
            return false;
        }
        // The line feed in the writer's own form is read alike by both.
        if (hexadecimal && name != "#x000a") note(Construct::HexReference, start, whole);
        if (!hexadecimal && !inValue && (code == 9 || code == 10 || code == 13)) note(Construct::BreakReferenceInText, start, whole);
        if (!hexadecimal && inValue && code == '"') note(Construct::QuoteReferenceInValue, start, whole, attribute);
        if (code >= 128) {
            note(Construct::WideReference, start, whole);
            out += wideCharacter(static_cast<unsigned>(code));
        } else {
            out += static_cast<char>(code);
        }
        return true;
    }

    void markup() {
        const std::size_t start = pos;
        struct Delimited { const char* open; const char* close; Construct::Kind kind; const char* what; };
        static const Delimited delimited[] = {{"<!--", "-->", Construct::Comment, "comment"},
                                              {"<![CDATA[", "]]>", Construct::CData, "CDATA section"},
                                              {"<?", "?>", Construct::ProcessingInstruction, "processing instruction"}};
        for (const Delimited& kind : delimited) {
            if (!startsWith(kind.open)) continue;
            const std::size_t close = text.find(kind.close, pos + std::strlen(kind.open));
            if (close == std::string::npos) return fail(start, std::string("the ") + kind.what + " never ends");
            pos = close + std::strlen(kind.close);
            note(kind.kind, start, text.substr(start, pos - start));
            // KpXml never reads a CDATA section's content as text, so its line breaks are not
            // text line breaks: they are taken as content, not as blanks to drop.
            if (kind.kind == Construct::CData) {
                const std::size_t contentStart = start + std::strlen(kind.open);
                characterData(text.substr(contentStart, close - contentStart), contentStart, false);
            }
            return;
        }
        if (startsWith("<!DOCTYPE")) return doctype();
        if (startsWith("</")) return endTag();
        startTag();
    }

    void doctype() {
        const std::size_t start = pos;
        int depth = 0;
        char quote = 0;
        for (; pos < text.size(); ++pos) {
            const char c = text[pos];
            // Comments and instructions in the internal subset may hold quotes and brackets.
            if (quote == 0 && depth > 0 && (startsWith("<!--") || startsWith("<?"))) {
                const char* close = text[pos + 1] == '!' ? "-->" : "?>";
                const std::size_t end = text.find(close, pos + 2);
                if (end == std::string::npos) break;
                pos = end + std::strlen(close) - 1;
                continue;
            }
            if (quote != 0) {
                if (c == quote) quote = 0;
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (c == '[') {
                ++depth;
            } else if (c == ']') {
                --depth;
            } else if (c == '>' && depth == 0) {
                ++pos;
                note(Construct::Doctype, start, text.substr(start, pos - start));
                return;
            }
        }
        fail(start, "the DOCTYPE never ends");
    }

    void endTag() {
        const std::size_t start = pos;
        pos += 2;
        const std::string name = readName();
        std::size_t lineBreak = std::string::npos;
        const bool blank = skipBlanks(lineBreak);
        if (name.empty() || pos >= text.size() || text[pos] != '>') return fail(start, "malformed end tag");
        ++pos;
        if (open.empty()) return note(Construct::UnmatchedEndTag, start, "", name);
        if (name != element(open.back()).name) return note(Construct::UnmatchedEndTag, start, element(open.back()).name, name);
        if (blank) note(Construct::BlankInEndTag, start, "", name);
        open.pop_back();
        segments.pop_back();
    }

    void startTag() {
        const std::size_t start = pos;
        ++pos;
        StandardElement read;
        read.offset = start;
        read.name = readName();
        if (read.name.empty()) return fail(start, "'<' that starts no tag");
        std::size_t lineBreak = std::string::npos;
        bool selfClosing = false;
        for (;;) {
            const bool blank = skipBlanks(lineBreak);
            if (pos < text.size() && text[pos] == '>') {
                ++pos;
                break;
            }
            if (startsWith("/>")) {
                pos += 2;
                selfClosing = true;
                break;
            }
            if (!blank || pos >= text.size()) return fail(start, "malformed tag <" + read.name + ">");
            if (!attribute(read, lineBreak)) return;
        }
        if (lineBreak != std::string::npos) note(Construct::LineFeedInTag, lineBreak, "", read.name);

        const std::size_t index = document.elements.size();
        if (!open.empty()) {
            Segment& segment = segments.back();
            if (!selfClosing && segment.start != std::string::npos) {
                const std::size_t first = segment.text.find_first_not_of(" \t\n\r");
                const std::size_t last = segment.text.find_last_not_of(" \t\n\r");
                note(Construct::TextBeforeChild, segment.start, segment.text.substr(first, last - first + 1), read.name);
            }
            if (!selfClosing) segment = Segment();
            element(open.back()).children.push_back(index);
        } else if (!document.elements.empty()) {
            note(Construct::SecondRoot, start, "", read.name);
            element(0).children.push_back(index);
        }
        document.elements.push_back(std::move(read));
        if (!selfClosing) {
            open.push_back(index);
            segments.emplace_back();
        }
    }

    // Reads one attribute (name, '=', quoted value) into read. False after an error.
    bool attribute(StandardElement& read, std::size_t& lineBreak) {
        const std::size_t start = pos;
        const std::string name = readName();
        skipBlanks(lineBreak);
        if (name.empty() || pos >= text.size() || text[pos] != '=') {
            fail(start, "malformed attribute in tag <" + read.name + ">");
            return false;
        }
        ++pos;
        skipBlanks(lineBreak);
        const char quote = pos < text.size() ? text[pos] : '\0';
        if (quote != '"' && quote != '\'') {
            fail(start, "value of attribute " + name + " without quotes");
            return false;
        }
        if (quote == '\'') note(Construct::SingleQuotes, start, "", name);
        ++pos;
        std::string value;
        bool greaterThan = false;
        bool lineBreakInValue = false;
        while (pos < text.size() && text[pos] != quote) {
            const char c = text[pos];
            if (c == '<') {
                fail(pos, "'<' in the value of attribute " + name);
                return false;
            }
            if (c == '&') {
                if (!reference(true, name, value)) return false;
                continue;
            }
            if (c == '>' && !greaterThan) {
                note(Construct::GreaterThanInValue, pos, "", name);
                greaterThan = true;
            }
            if (c == '\t' || c == '\n' || c == '\r') {
                if (!lineBreakInValue) note(Construct::BreakInValue, pos, "", name);
                lineBreakInValue = true;
                value += ' ';
            } else {
                value += c;
            }
            ++pos;
        }
        if (pos >= text.size()) {
            fail(start, "the value of attribute " + name + " never ends");
            return false;
        }
        ++pos;
        for (const auto& existing : read.attributes) {
            if (existing.first == name) {
                fail(start, "attribute " + name + " given twice");
                return false;
            }
        }
        read.attributes.emplace_back(name, value);
        return true;
    }

    const std::string& text;
    const std::function<std::string(unsigned)>& wideCharacter;
    std::size_t pos = 0;
    StandardDocument document;
    std::vector<std::size_t> open;   // indices of the open elements, innermost last
    std::vector<Segment> segments;   // one per open element
};

}  // namespace

StandardDocument readStandard(const std::string& text, const std::function<std::string(unsigned)>& wideCharacter) {
    return Reader(text, wideCharacter).run();
}

}  // namespace kpxmlcli
