// Reading a document from a stream: a forgiving single-pass scanner. It decodes a fixed set of
// entities, cuts tags with the tag tokenizer, and never rejects input. Nesting is tracked on an
// explicit stack of levels rather than by recursion, so any depth can be read.
#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <istream>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kpxml/KpXmlTree.h"
#include "platform/CodePage.h"
#include "xml/TagTokenizer.h"
#include "xml/TextConvert.h"

namespace {

// Tab, line feed and carriage return: dropped from text outside tags.
bool isEsc(char c) {
    return c == '\t' || c == '\n' || c == '\r';
}

// Appends one UTF-16 unit converted to the ANSI code page to text, as converting the whole text
// to UTF-16 with the unit added and back would.
void appendConvertedUnit(std::string& text, char16_t unit) {
    if (kpxml::platform::ansiRoundTripsEveryByte()) {
        kpxml::platform::utf16ToAnsi(&unit, 1, text);
        return;
    }
    std::u16string wide;
    kpxml::platform::ansiToUtf16(text.data(), text.size(), wide);
    wide.push_back(unit);
    text.clear();
    kpxml::platform::utf16ToAnsi(wide.data(), wide.size(), text);
}

// Sets the attributes of a tag on a node: an attribute of the same name is updated in place,
// others are appended. Nodes with many attributes get an index, so that a tag costs linear time.
void applyAttributes(KpXmlData& node, const kpxml::ParsedTag& parsed) {
    constexpr std::size_t directLimit = 8;
    std::vector<KpXmlAttributeData*>& attributes = node.getAttributes();
    attributes.reserve(attributes.size() + parsed.attributeCount);
    if (parsed.attributeCount + attributes.size() <= directLimit) {
        for (std::size_t i = 0; i < parsed.attributeCount; ++i) {
            node.setAttribute(parsed.attributes[i].name, parsed.attributes[i].value, true);
        }
        return;
    }
    std::unordered_map<std::string_view, KpXmlAttributeData*> byName;
    for (KpXmlAttributeData* attribute : attributes) {
        if (attribute != nullptr) byName.emplace(attribute->getName(), attribute);
    }
    for (std::size_t i = 0; i < parsed.attributeCount; ++i) {
        const kpxml::TagAttribute& read = parsed.attributes[i];
        const auto found = byName.find(read.name);
        if (found != byName.end()) {
            found->second->setData(read.value);
            found->second->setEntityFlag(true);
            continue;
        }
        auto created = std::make_unique<KpXmlAttributeData>(read.name, read.value);
        attributes.push_back(created.get());
        KpXmlAttributeData* attribute = created.release();
        byName.emplace(attribute->getName(), attribute);
    }
}

class StreamParser {
public:
    StreamParser(KpXmlData& root, const std::map<std::string, std::string>& entityMap, const std::string& separators)
        : entities(entityMap), separatorSet(separators) {
        levels.push_back(Level{std::string(), std::string(), &root, nullptr, nullptr});
    }

    // Reads in to its end or to the end of the document level; returns true in the latter case,
    // with the document level's text in documentText. Bytes are taken in blocks from what the
    // stream buffer holds already, so the stream can be left right after the last byte used.
    bool run(std::streambuf& in) {
        char block[blockSize];
        for (;;) {
            const std::streamsize buffered = available(in);
            std::size_t count = 0;
            if (buffered > 0) {
                const std::streamsize wanted = std::min<std::streamsize>(buffered, blockSize);
                count = static_cast<std::size_t>(in.sgetn(block, wanted));
            } else {
                const std::char_traits<char>::int_type next = read(in);
                if (!std::char_traits<char>::eq_int_type(next, std::char_traits<char>::eof())) {
                    block[0] = std::char_traits<char>::to_char_type(next);
                    count = 1;
                }
            }
            if (count == 0) {
                while (levels.size() > 1) finishLevel(false);
                return false;
            }
            if (const char* rest = consume(block, block + count)) {
                // The document ended inside the block: return the unused bytes to the stream.
                for (const char* unused = block + count; unused != rest;) in.sputbackc(*--unused);
                return true;
            }
        }
    }

    std::string documentText;
    // What the stream buffer threw, if anything; reading ended there.
    std::exception_ptr streamError;

private:
    static constexpr std::size_t blockSize = 4096;

    // Bytes that end a run of plain text or of tag text.
    static constexpr unsigned char endsText = 1;
    static constexpr unsigned char endsTag = 2;
    static constexpr std::array<unsigned char, 256> byteClasses = [] {
        std::array<unsigned char, 256> classes{};
        classes['&'] = classes['<'] = classes['>'] = endsText | endsTag;
        classes['\t'] = classes['\n'] = classes['\r'] = endsText;
        return classes;
    }();

    static const char* runEnd(const char* p, const char* end, unsigned char endClass) {
        while (p != end && (byteClasses[static_cast<unsigned char>(*p)] & endClass) == 0) ++p;
        return p;
    }

    // The number of bytes the stream buffer holds ready, or 0 when it cannot tell.
    std::streamsize available(std::streambuf& in) {
        if (streamError) return 0;
        try {
            return in.in_avail();
        } catch (...) {
            streamError = std::current_exception();
            return 0;
        }
    }

    // The next byte, as istream::get() reads it.
    std::char_traits<char>::int_type read(std::streambuf& in) {
        if (streamError) return std::char_traits<char>::eof();
        try {
            return in.sbumpc();
        } catch (...) {
            streamError = std::current_exception();
            return std::char_traits<char>::eof();
        }
    }

    // One element whose content is being read (the document level first).
    struct Level {
        std::string until;                 // the tag text that ends this level: "/" + the element's name
        std::string text;                  // character data gathered at this level
        KpXmlData* node;                   // the element whose content this is
        KpXmlData* attachTo;               // where the element goes once read, or null (it is the root)
        std::unique_ptr<KpXmlData> owned;  // the element until it is attached
    };

    // The buffer that receives a level's text when it ends, and that each of its tags empties.
    std::string& outputOf(std::size_t level) {
        return level == 0 ? documentText : levels[level - 1].text;
    }

    // Handles the bytes [p, end). Returns null when all were used, or the position after the byte
    // that ended the document level.
    const char* consume(const char* p, const char* end) {
        while (p != end) {
            if (inEntity) {
                // The entity's name runs up to the next ';'.
                const auto* semicolon = static_cast<const char*>(std::memchr(p, ';', static_cast<std::size_t>(end - p)));
                entity.append(p, semicolon != nullptr ? semicolon : end);
                if (semicolon == nullptr) return nullptr;
                p = semicolon + 1;
                inEntity = false;
                resolveEntity();
                continue;
            }
            if (entityStart) {
                // Everything after '&' up to the next '#', 'a', 'g', 'l' or 'q' is dropped; that
                // byte starts the entity ('#' itself is not kept).
                while (p != end && *p != '#' && *p != 'a' && *p != 'g' && *p != 'l' && *p != 'q') ++p;
                if (p == end) return nullptr;
                entityStart = false;
                inEntity = true;
                entity.clear();
                if (*p != '#') entity += *p;
                ++p;
                continue;
            }
            if (inTag) {
                const char* stop = runEnd(p, end, endsTag);
                tag.append(p, stop);
                p = stop;
            } else {
                const char* stop = runEnd(p, end, endsText);
                levels.back().text.append(p, stop);
                p = stop;
                if (p != end && isEsc(*p)) {  // tab, line feed and carriage return leave no trace in text
                    ++p;
                    continue;
                }
            }
            if (p == end) return nullptr;
            switch (*p++) {
            case '&':
                entityStart = true;
                break;
            case '<':
                inTag = true;
                break;
            default:  // '>'
                if (endTag()) return p;
                break;
            }
        }
        return nullptr;
    }

    void resolveEntity() {
        std::string& target = inTag ? tag : levels.back().text;
        const auto known = entities.find(entity);
        if (known != entities.end()) {
            target += known->second;
            return;
        }
        const int code = kpxml::atoi(entity);
        if (code <= 255) {
            const char byte = static_cast<char>(code);
            if (inTag || !isEsc(byte)) target += byte;
            return;
        }
        if (!inTag && isEsc(static_cast<char>(code & 0xFF))) return;
        appendConvertedUnit(target, static_cast<char16_t>(code & 0xFFFF));
    }

    // At '>': true when the document level has ended.
    bool endTag() {
        inTag = false;
        if (!tag.empty() && tag[0] == '?') {  // declaration or processing instruction
            tag.clear();
            return false;
        }
        if (tag == levels.back().until) {
            tag.clear();
            if (levels.size() == 1) {
                documentText = levels.back().text;
                return true;
            }
            finishLevel(true);
            return false;
        }
        startElement();
        return false;
    }

    // A start or empty-element tag (or an end tag that ends nothing) at the innermost level.
    void startElement() {
        const std::size_t level = levels.size() - 1;
        KpXmlData* parent = levels[level].node;
        // Only an element whose name is still empty (the fresh root) takes a tag's name and
        // attributes itself; others get a new child.
        const bool intoParent = parent->getName().empty();
        const kpxml::TagKind kind = tag.empty() ? kpxml::TagKind::Unreadable : kpxml::tokenizeTag(tag, separatorSet, parsed);
        tag.clear();
        if (kind == kpxml::TagKind::Unreadable || (kind == kpxml::TagKind::Blank && !intoParent)) {
            return;  // ignored whole
        }

        std::unique_ptr<KpXmlData> created;
        KpXmlData* element = parent;
        if (!intoParent) {
            created = std::make_unique<KpXmlData>(parsed.name);
            element = created.get();
        } else if (kind == kpxml::TagKind::Element) {
            element->setName(parsed.name);
        }
        if (kind == kpxml::TagKind::Element) applyAttributes(*element, parsed);

        if (parsed.open) {
            levels.push_back(Level{"/" + element->getName(), std::string(), element, intoParent ? nullptr : parent,
                                   std::move(created)});
            return;
        }
        if (!intoParent) attach(*parent, std::move(created));
        outputOf(level).clear();
    }

    // Ends the innermost element level: at its end tag (ended) or at the end of the stream.
    void finishLevel(bool ended) {
        Level finished = std::move(levels.back());
        levels.pop_back();
        const std::size_t level = levels.size() - 1;
        if (ended) {
            // The element's text is what was gathered at its level since its last child with content.
            finished.node->setData(std::move(finished.text));
            levels[level].text.clear();
        }
        if (finished.attachTo != nullptr) attach(*finished.attachTo, std::move(finished.owned));
        outputOf(level).clear();
    }

    static void attach(KpXmlData& parent, std::unique_ptr<KpXmlData> child) {
        parent.addChild(child.get());
        child.release();
    }

    const std::map<std::string, std::string>& entities;
    kpxml::SeparatorSet separatorSet;
    std::vector<Level> levels;
    kpxml::ParsedTag parsed;
    std::string tag;
    std::string entity;
    bool inTag = false;
    bool entityStart = false;
    bool inEntity = false;
};

}  // namespace

void KpXmlTree::buildOfStream(std::istream& in) {
    delete root;
    root = nullptr;
    currentNode = nullptr;
    root = new KpXmlData();
    if (in.fail()) return;
    in.seekg(0);
    if (in.fail()) return;

    StreamParser parser(*root, entityMap, separators);
    const bool documentEnded = parser.run(*in.rdbuf());
    if (parser.streamError) {
        // As a failing get() would: the stream turns bad, and the error surfaces only when the
        // stream is set to throw.
        if (in.exceptions() & std::ios_base::badbit) std::rethrow_exception(parser.streamError);
        in.setstate(std::ios_base::badbit);
        return;
    }
    if (documentEnded) {
        root->setData(parser.documentText);
    } else {
        in.setstate(std::ios_base::eofbit | std::ios_base::failbit);
    }
}
