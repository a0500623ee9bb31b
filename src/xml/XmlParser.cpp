// Reading a document from a stream: a forgiving single-pass scanner. It decodes a fixed set of
// entities, reads ordinary tags, the texts before end tags and references to the entity table
// straight from its input, hands all others to the step-by-step reading (the tag tokenizer), and
// never rejects input. Nesting is tracked on an explicit stack of levels rather
// than by recursion, so any depth can be read.
#include <algorithm>
#include <cstring>
#include <exception>
#include <istream>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kpxml/KpXmlTree.h"
#include "xml/NodeAttributes.h"
#include "xml/ParsingPath.h"
#include "xml/PlainTagReader.h"
#include "xml/TagTokenizer.h"

namespace {

// Sets the attributes of a tag on a node: an attribute of the same name is updated in place,
// others are appended. Nodes with many attributes get an index, so that a tag costs linear time.
void applyAttributes(KpXmlData& node, const KpXml::detail::ParsedTag& parsed) {
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
        const KpXml::detail::TagAttribute& read = parsed.attributes[i];
        const auto found = byName.find(read.name);
        const bool isNew = found == byName.end();
        KpXmlAttributeData& stored =
            KpXml::detail::storeAttribute(node, isNew ? nullptr : found->second, read.name, read.value, true);
        if (isNew) byName.emplace(stored.getName(), &stored);
    }
}

class StreamParser {
public:
    // stepByStep: every tag goes through the tokenizer and every reference through the reference
    // steps; nothing is read directly.
    StreamParser(KpXmlData& root, const KpXml::detail::EntityMap& entityMap, const std::string& separators, bool stepByStep)
        : entities(entityMap),
          separatorSet(separators),
          plainTagReader(separators, entityMap),
          readDirectly(!stepByStep) {
        levels.resize(initialDepth);
        pendingChildren.reserve(initialDepth);
        levels[0] = {&root, 0, false, false, false};
    }

    ~StreamParser() {
        // Elements still open when reading stopped early (by an exception) belong to no tree yet.
        for (std::size_t level = 0; level <= depth; ++level) {
            if (levels[level].owned) delete levels[level].node;
        }
    }

    StreamParser(const StreamParser&) = delete;
    StreamParser& operator=(const StreamParser&) = delete;

    // Reads in to its end or to the end of the document level; returns true in the latter case,
    // with the document level's text in documentText. Bytes are taken in blocks from what the
    // stream buffer holds already, so that the bytes not used can be put back: the stream is left
    // right after the last byte used.
    bool run(std::streambuf& in) {
        char block[blockSize];
        for (;;) {
            const std::size_t count = readBlock(in, block);
            if (count == 0) {
                while (depth > 0) finishLevel(false);
                attachChildren(levels[0]);
                return false;
            }
            if (const char* rest = consume(block, block + count)) {
                // The document ended inside the block: return the unused bytes to the stream.
                attachChildren(levels[0]);
                returnUnused(in, rest, block + count);
                return true;
            }
        }
    }

    std::string documentText;
    // What the stream buffer threw, if anything; reading ended there.
    std::exception_ptr streamError;

private:
    static constexpr std::size_t blockSize = 4096;
    static constexpr std::size_t initialDepth = 16;  // room for the levels and children of most documents

    // Bytes that end a run of plain text or of tag text.
    static constexpr unsigned char endsText = 1;
    static constexpr unsigned char endsTag = 2;
    static constexpr KpXml::detail::ByteClasses byteClasses = [] {
        KpXml::detail::ByteClasses classes{};
        classes['&'] = classes['<'] = classes['>'] = endsText | endsTag;
        classes['\t'] = classes['\n'] = classes['\r'] = endsText;
        return classes;
    }();

    static void appendRun(std::string& target, const char* begin, const char* end) {
        if (begin != end) target.append(begin, static_cast<std::size_t>(end - begin));
    }

    static const char* runEnd(const char* p, const char* end, unsigned char endClass) {
        return KpXml::detail::findByteOfClass(p, end, byteClasses, endClass);
    }

    // Reads into block the bytes that the stream buffer holds ready, at most blockSize and at
    // least one unless the stream has ended; returns their number (0 at the end). The buffer is
    // first asked for the next byte, which fills its get area when that is empty: in_avail() then
    // counts the bytes of that area, all of which can be put back (called on an empty area, it
    // would give the buffer's estimate of all that is left, which may need several refills).
    std::size_t readBlock(std::streambuf& in, char* block) {
        if (streamError) return 0;
        try {
            if (std::char_traits<char>::eq_int_type(in.sgetc(), std::char_traits<char>::eof())) return 0;
            const std::streamsize ready = in.in_avail();
            if (ready <= 0) {  // an unbuffered stream: one byte at a time
                block[0] = std::char_traits<char>::to_char_type(in.sbumpc());
                return 1;
            }
            return static_cast<std::size_t>(in.sgetn(block, std::min<std::streamsize>(ready, blockSize)));
        } catch (...) {
            streamError = std::current_exception();
            return 0;
        }
    }

    // Gives the bytes [unused, end) of the last block back to the stream buffer, last first; when
    // the buffer refuses one, moves its position back over the rest (a buffer that can do neither
    // stays where it is).
    void returnUnused(std::streambuf& in, const char* unused, const char* end) {
        try {
            for (const char* p = end; p != unused; --p) {
                if (std::char_traits<char>::eq_int_type(in.sputbackc(p[-1]), std::char_traits<char>::eof())) {
                    const auto back = static_cast<std::streamoff>(p - unused);
                    in.pubseekoff(-back, std::ios_base::cur, std::ios_base::in);
                    return;
                }
            }
        } catch (...) {
            streamError = std::current_exception();
        }
    }

    // One element whose content is being read (the document level first). Only the innermost
    // level gathers text: an outer level's text is emptied when the element inside it ends, and
    // is never used when the stream ends first, so it is dropped as soon as an element opens.
    struct Level {
        KpXmlData* node;         // the element whose content this is
        std::size_t firstChild;  // where the children read at this level start in pendingChildren
        bool owned;              // the parser made the element (not the root): the level owns it until it ends
        // The element had no name when its level began: the tag text "/" ends the level. Otherwise
        // "/" + its name does, a name that no longer changes.
        bool unnamed;
        bool plainName;  // the name holds no '&', '<' or '>', so its end tag can be read directly
    };

    // True when the tag text [tagText, tagText + length) ends the current level (the document
    // level: the empty text).
    bool endsLevel(const char* tagText, std::size_t length) const {
        if (depth == 0) return length == 0;
        const std::size_t nameLength = endNameLength();
        return length == nameLength + 1 && tagText[0] == '/' &&
               std::memcmp(tagText + 1, levels[depth].node->getName().data(), nameLength) == 0;
    }

    // The length of the name that follows "/" in the tag text that ends the current element.
    std::size_t endNameLength() const {
        const Level& level = levels[depth];
        return level.unnamed ? 0 : level.node->getName().size();
    }

    // Handles the bytes [p, end). Returns null when all were used, or the position after the byte
    // that ended the document level.
    const char* consume(const char* p, const char* end) {
        while (p != end) {
            if (inEntity) {
                // The entity's name runs up to the next ';'.
                const auto* semicolon = static_cast<const char*>(std::memchr(p, ';', static_cast<std::size_t>(end - p)));
                appendRun(entity, p, semicolon != nullptr ? semicolon : end);
                if (semicolon == nullptr) return nullptr;
                p = semicolon + 1;
                inEntity = false;
                KpXml::detail::appendReference(entity, entities, inTag, true, inTag ? tag : text);
                continue;
            }
            if (entityStart) {
                // Everything after '&' up to the next '#', 'a', 'g', 'l' or 'q' is dropped; that
                // byte starts the entity ('#' itself is not kept).
                while (p != end && !KpXml::detail::startsReference(*p)) ++p;
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
                appendRun(tag, p, stop);
                p = stop;
                if (p == end) return nullptr;
                switch (*p++) {
                case '&':
                    entityStart = true;
                    break;
                case '<':  // dropped
                    break;
                default:  // '>'
                    if (endTag()) return p;
                    break;
                }
                continue;
            }
            // Text, and the tags that can be read directly, until a byte needs more than that.
            for (;;) {
                const char* stop = runEnd(p, end, endsText);
                if (text.empty()) {
                    // Spaces that start a text are trimmed when it is stored: they are left out at once.
                    while (p != stop && *p == ' ') ++p;
                    // A text that is the rest of an element's content up to its end tag is stored
                    // straight from the bytes.
                    if (p != stop && readDirectly && stop != end && *stop == '<') {
                        if (const char* after = endTagEnd(stop + 1, end)) {
                            finishLevelWithText(p, stop);
                            p = after;
                            continue;
                        }
                    }
                }
                appendRun(text, p, stop);
                p = stop;
                if (p == end) return nullptr;
                const char byte = *p++;
                if (byte == '<') {
                    if (readDirectly) {
                        if (const char* after = readPlainTag(p, end)) {
                            p = after;
                            continue;
                        }
                    }
                    inTag = true;
                    break;
                }
                if (byte == '&') {
                    if (readDirectly) {
                        if (const char* after = plainTagReader.readTextReference(p, end, text)) {
                            p = after;
                            continue;
                        }
                    }
                    entityStart = true;
                    break;
                }
                if (byte == '>') {
                    if (endTag()) return p;
                    break;
                }
                // A tab, line feed or carriage return leaves no trace in text.
            }
        }
        return nullptr;
    }

    // The position after the end tag of the innermost element that starts at p (after its '<')
    // and ends before end, or null. Only "/" + the name + ">" is taken, for an element whose name
    // holds no '>' (so that this '>' is the first one), nor a '&' or a '<'.
    const char* endTagEnd(const char* p, const char* end) const {
        if (depth == 0 || !levels[depth].plainName) return nullptr;
        const std::size_t length = endNameLength() + 1;  // the tag text: "/" + the name
        if (static_cast<std::size_t>(end - p) <= length || p[length] != '>' || !endsLevel(p, length)) return nullptr;
        return p + length + 1;
    }

    // Reads the tag that starts at p (after its '<') directly from the bytes when it is of a form
    // for which that gives what the step-by-step reading gives, and ends before end. Returns the
    // position after its '>', or null when nothing was read.
    const char* readPlainTag(const char* p, const char* end) {
        if (p == end) return nullptr;
        if (*p == '/') {
            const char* after = endTagEnd(p, end);
            if (after != nullptr) finishLevel(true);
            return after;
        }
        if (*p == '?') {
            const auto* close = static_cast<const char*>(std::memchr(p, '>', static_cast<std::size_t>(end - p)));
            if (close == nullptr) return nullptr;
            return std::memchr(p, '&', static_cast<std::size_t>(close - p)) == nullptr ? close + 1 : nullptr;
        }
        KpXmlData* parent = levels[depth].node;
        if (parent->getName().empty()) return nullptr;  // the root's first tag names the root itself
        const char* after = plainTagReader.read(p, end, plainTag);
        if (after == nullptr) return nullptr;

        auto created = std::make_unique<KpXmlData>(std::string(plainTag.name, plainTag.nameLength), parent);
        if (plainTag.attributeCount != 0) {
            created->getAttributes().reserve(plainTag.attributeCount);
            for (std::size_t i = 0; i < plainTag.attributeCount; ++i) {
                const KpXml::detail::PlainTag::Attribute& attribute = plainTag.attributes[i];
                // The reader has made sure that the names differ.
                KpXml::detail::storeAttribute(*created, nullptr, std::string(attribute.name, attribute.nameLength),
                                              attribute.valueText(), true);
            }
        }
        KpXmlData* element = created.get();
        placeElement(element, std::move(created), plainTag.open, true);
        return after;
    }

    // At '>': true when the document level has ended.
    bool endTag() {
        inTag = false;
        if (!tag.empty() && tag[0] == '?') {  // declaration or processing instruction
            tag.clear();
            return false;
        }
        if (endsLevel(tag.data(), tag.size())) {
            tag.clear();
            if (depth == 0) {
                documentText = text;
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
        KpXmlData* parent = levels[depth].node;
        // Only an element whose name is still empty (the fresh root) takes a tag's name and
        // attributes itself; others get a new child.
        const bool intoParent = parent->getName().empty();
        const KpXml::detail::TagKind kind = tag.empty() ? KpXml::detail::TagKind::Unreadable : KpXml::detail::tokenizeTag(tag, separatorSet, parsed);
        tag.clear();
        if (kind == KpXml::detail::TagKind::Unreadable || (kind == KpXml::detail::TagKind::Blank && !intoParent)) {
            return;  // ignored whole
        }

        std::unique_ptr<KpXmlData> created;
        KpXmlData* element = parent;
        if (!intoParent) {
            created = std::make_unique<KpXmlData>(parsed.name, parent);
            element = created.get();
        } else if (kind == KpXml::detail::TagKind::Element) {
            element->setName(parsed.name);
        }
        if (kind == KpXml::detail::TagKind::Element) applyAttributes(*element, parsed);
        placeElement(element, std::move(created), parsed.open,
                     element->getName().find_first_of("&<>") == std::string::npos);
    }

    // Puts a tag's element in place at the innermost level: created is the new element, or null
    // when the tag went into that level's own element. An open element starts a new level;
    // others join the level's children at once. plainName: the name holds no '&', '<' or '>'.
    void placeElement(KpXmlData* element, std::unique_ptr<KpXmlData> created, bool open, bool plainName) {
        if (open) {
            // The levels in use are levels[0..depth]; the vector only grows, so that entering a
            // level is a plain store while the document stays within the depth reached so far.
            if (depth + 1 == levels.size()) levels.resize(levels.size() * 2);
            ++depth;
            levels[depth] = {element, pendingChildren.size(), created != nullptr, element->getName().empty(), plainName};
            created.release();  // now owned by the level
            text.clear();
            return;
        }
        if (created != nullptr) pendingChildren.push_back(std::move(created));
    }

    // Ends the innermost element level: at its end tag (ended) or at the end of the stream.
    void finishLevel(bool ended) {
        const Level& finished = levels[depth];
        attachChildren(finished);
        // The element's text is what was gathered at its level since its last child with content
        // (storing an empty text changes nothing where the stored text is empty already).
        if (ended && !(text.empty() && finished.node->getData().empty())) finished.node->setData(text);
        text.clear();
        leaveLevel();
    }

    // Ends the innermost element level at its end tag, with nothing gathered, when the bytes
    // [begin, textEnd) (not empty, not starting with a space) are the rest of its text: as
    // gathering them first would.
    void finishLevelWithText(const char* begin, const char* textEnd) {
        attachChildren(levels[depth]);
        while (textEnd[-1] == ' ') --textEnd;  // trimmed here, so that the text is stored as made
        levels[depth].node->setData(std::string(begin, textEnd));
        leaveLevel();
    }

    // The innermost level's element joins the children of the level above.
    void leaveLevel() {
        if (levels[depth].owned) pendingChildren.emplace_back(levels[depth].node);
        --depth;
    }

    // Hands the children read at a level to its element, in the order read. They are held back
    // until the level ends so that the child list grows once, by the number known then. Each child
    // names its parent from its creation on, so that this step does not visit the children again
    // (a large child list is long out of the cache by now).
    void attachChildren(const Level& level) {
        if (pendingChildren.size() == level.firstChild) return;  // none: the element's child list stays as it is
        std::vector<KpXmlData*>& children = level.node->getChildren();
        children.reserve(children.size() + (pendingChildren.size() - level.firstChild));
        for (std::size_t i = level.firstChild; i < pendingChildren.size(); ++i) {
            children.push_back(pendingChildren[i].release());
        }
        pendingChildren.resize(level.firstChild);
    }

    const KpXml::detail::EntityMap& entities;
    KpXml::detail::SeparatorSet separatorSet;
    KpXml::detail::PlainTagReader plainTagReader;
    const bool readDirectly;
    std::vector<Level> levels;
    std::vector<std::unique_ptr<KpXmlData>> pendingChildren;  // read, not yet attached; by level
    std::size_t depth = 0;  // the index in levels of the element being read
    std::string text;       // what the innermost level has gathered
    KpXml::detail::ParsedTag parsed;
    KpXml::detail::PlainTag plainTag;
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

    StreamParser parser(*root, entityMap, separators, KpXml::detail::StepByStepParsing::selected());
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

namespace KpXml::detail {

namespace {
thread_local bool stepByStepSelected = false;
}  // namespace

StepByStepParsing::StepByStepParsing() : previous(stepByStepSelected) {
    stepByStepSelected = true;
}

StepByStepParsing::~StepByStepParsing() {
    stepByStepSelected = previous;
}

bool StepByStepParsing::selected() {
    return stepByStepSelected;
}

}  // namespace KpXml::detail
