#include "xml/XmlScanner.h"

#include <algorithm>
#include <cstring>

#include "platform/CodePage.h"
#include "xml/TreeBuilder.h"

namespace KpXml::detail {

namespace {

// Bytes that end a run of plain text or of tag text, and the bytes that a text not yet begun
// drops (a tab, line feed or carriage return never leaves a trace in text, and spaces that start
// a text are trimmed when it is stored).
constexpr unsigned char endsText = 1;
constexpr unsigned char endsTag = 2;
constexpr unsigned char blank = 4;
constexpr ByteClasses byteClasses = [] {
    ByteClasses classes{};
    classes['&'] = classes['<'] = classes['>'] = endsText | endsTag;
    classes['\t'] = classes['\n'] = classes['\r'] = endsText | blank;
    classes[' '] = blank;
    return classes;
}();

// Where the run of text or tag text from p ends: at end at the latest, where endOfBytes stands.
const char* runEnd(const char* p, unsigned char endClass) {
    return forgetOrigin(findByteOfClass(p, byteClasses, endClass));
}

void appendRun(std::string& target, const char* begin, const char* end) {
    if (begin != end) target.append(begin, static_cast<std::size_t>(end - begin));
}

void appendRun(TextBuffer& target, const char* begin, const char* end) {
    if (begin != end) target.append(begin, end);
}

}  // namespace

template <typename Events>
XmlScanner<Events>::XmlScanner(Events& eventSink, const PlainTagReader* directReader, const SeparatorSet& separators,
                       const EntityMap& entityTable)
    : events(eventSink), direct(directReader), separatorSet(separators), entities(entityTable) {
    PlainTagReader::makeRoomForAttributes(startTag);
}

template <typename Events>
bool XmlScanner<Events>::run(std::streambuf& in) {
    // The block starts with the bytes carried over from the one before, if any (see bytesToCarry).
    char block[carryLimit + blockSize + 1];
    std::size_t carried = 0;
    for (;;) {
        const std::size_t count = readBlock(in, block + carried);
        const std::size_t inHand = carried + count;
        block[inHand] = endOfBytes;  // so that a search for the end of a run needs no bound
        blockStart = block;
        if (inHand == 0) {
            cursor = block;
            events.streamEnd(at());
            return false;
        }
        const char* rest = consume(block, block + inHand);
        if (rest != nullptr) {
            // The document ended inside the block, after any bytes carried over (they hold no
            // '>'): the unused bytes, all of this read, go back to the stream.
            returnUnused(in, rest, block + inHand);
            cursor = rest;
            events.documentEnd(text.view(), at());
            return true;
        }
        // A tag that the end of a full block cut off is read again, from its '<', with the bytes
        // that follow: directly, where it allows that. (A stream that hands out bytes in smaller
        // pieces would have the same tag read again after every piece.)
        carried = count == blockSize ? bytesToCarry(block, inHand) : 0;
        blockPosition += inHand - carried;
        if (carried != 0) {
            inTag = false;
            tag.clear();
            std::memmove(block, block + (inHand - carried), carried);
        }
    }
}

template <typename Events>
std::size_t XmlScanner<Events>::readBlock(std::streambuf& in, char* block) {
    if (streamError) return 0;
    try {
        // Asking for the next byte fills the buffer's get area when it is empty; in_avail() then
        // counts the bytes of that area, all of which can be put back. (On an empty area it would
        // give the buffer's estimate of all that is left, which may take several refills.)
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

template <typename Events>
void XmlScanner<Events>::returnUnused(std::streambuf& in, const char* unused, const char* end) {
    // Last byte first. Should the buffer refuse one, its position moves back over the rest (a
    // buffer that can do neither stays where it is).
    for (const char* p = end; p != unused; --p) {
        if (std::char_traits<char>::eq_int_type(in.sputbackc(p[-1]), std::char_traits<char>::eof())) {
            in.pubseekoff(-static_cast<std::streamoff>(p - unused), std::ios_base::cur, std::ios_base::in);
            return;
        }
    }
}

template <typename Events>
const char* XmlScanner<Events>::consume(const char* p, const char* end) {
    const PlainTagReader* const reader = direct;  // held in a register rather than read for every tag
    while (p != end) {
        if (inEntity) {
            // The entity's name runs up to the next ';'.
            const auto* semicolon = static_cast<const char*>(std::memchr(p, ';', static_cast<std::size_t>(end - p)));
            appendRun(entity, p, semicolon != nullptr ? semicolon : end);
            if (semicolon == nullptr) return nullptr;
            p = semicolon + 1;
            inEntity = false;
            if (inTag) {
                appendReference(entity, entities, true, true, tag);
            } else {
                appendTextReference();
            }
            continue;
        }
        if (entityStart) {
            // Everything after '&' up to the next '#', 'a', 'g', 'l' or 'q' is dropped; that
            // byte starts the entity ('#' itself is not kept).
            while (p != end && !startsReference(*p)) ++p;
            if (p == end) return nullptr;
            entityStart = false;
            inEntity = true;
            entity.clear();
            if (*p != '#') entity += *p;
            ++p;
            continue;
        }
        if (inTag) {
            const char* stop = runEnd(p, endsTag);
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
                cursor = p;
                if (endOfTag()) return p;
                break;
            }
            continue;
        }
        // Text, and the markup that can be read directly, until a byte needs more than that.
        for (;;) {
            // What a text not yet begun drops is left out at once: the indentation between tags.
            if (text.empty()) p = findByteOutsideClass(p, byteClasses, blank);  // endOfBytes is not blank
            const char* stop = runEnd(p, endsText);
            if (stop == end) {
                appendRun(text, p, stop);
                return nullptr;
            }
            const char byte = *stop;
            if (byte == '<') {
                if (reader != nullptr) {
                    if (const char* after = readTagDirectly(stop + 1, end, p, stop)) {
                        p = after;
                        continue;
                    }
                }
                appendRun(text, p, stop);
                p = stop + 1;
                inTag = true;
                break;
            }
            appendRun(text, p, stop);
            p = stop + 1;
            if (byte == '&') {
                if (reader != nullptr) {
                    const PlainTagReader::TextReference reference = reader->readTextReference(p);
                    if (reference.after != nullptr) {
                        text.append(*reference.replacement);
                        p = reference.after;
                        continue;
                    }
                }
                entityStart = true;
                break;
            }
            if (byte == '>') {
                cursor = p;
                if (endOfTag()) return p;
                break;
            }
            // A tab, line feed or carriage return leaves no trace in text.
        }
    }
    return nullptr;
}

template <typename Events>
std::size_t XmlScanner<Events>::bytesToCarry(const char* block, std::size_t count) const {
    // In a tag whose text, as gathered so far, is the bytes after the block's last '<' (nothing
    // dropped, no reference in it).
    if (direct == nullptr || !inTag || entityStart || inEntity) return 0;
    const std::size_t length = tag.size() + 1;  // with the '<'
    if (length > carryLimit || length > count) return 0;
    const char* const markup = block + (count - length);
    return *markup == '<' && std::memcmp(markup + 1, tag.data(), tag.size()) == 0 ? length : 0;
}

template <typename Events>
[[gnu::always_inline]] inline const char* XmlScanner<Events>::readTagDirectly(const char* p, const char* end, const char* run, const char* runStop) {
    // At end, the mark there is read as a start tag without a name, which declines.
    if (*p == '/') {
        if (events.atDocumentLevel()) return nullptr;
        const char* after = direct->readEndTag(p, end, events.endTagName(), events.endTagNameIsPlain());
        if (after == nullptr) return nullptr;
        cursor = after;
        if (text.empty()) {
            // The run is the element's whole text: no copy is gathered.
            reportEndTag(std::string_view(run, static_cast<std::size_t>(runStop - run)));
        } else {
            appendRun(text, run, runStop);
            reportEndTag(text.view());
        }
        return after;
    }
    const bool instruction = *p == '?';
    const char* after = instruction ? PlainTagReader::readInstruction(p, end)
                                    : direct->readStartTag(p, startTag, directBuffers);
    if (after == nullptr) return nullptr;
    appendRun(text, run, runStop);
    cursor = after;
    if (!instruction) reportStartTag();
    return after;
}

template <typename Events>
bool XmlScanner<Events>::endOfTag() {
    inTag = false;
    if (!tag.empty() && tag[0] == '?') {  // declaration or processing instruction
        tag.clear();
        return false;
    }
    if (endsLevel(tag)) {
        tag.clear();
        if (events.atDocumentLevel()) return true;
        reportEndTag(text.view());
        return false;
    }
    startTagOfText();
    return false;
}

template <typename Events>
bool XmlScanner<Events>::endsLevel(const std::string& tagText) const {
    if (events.atDocumentLevel()) return tagText.empty();
    const std::string_view name = events.endTagName();
    return tagText.size() == name.size() + 1 && tagText[0] == '/' && tagText.compare(1, std::string::npos, name) == 0;
}

template <typename Events>
void XmlScanner<Events>::appendTextReference() {
    if (platform::ansiRoundTripsEveryByte()) {
        // Each character converts on its own: only the reference's text is made.
        referenceText.clear();
        appendReference(entity, entities, false, true, referenceText);
        text.append(referenceText);
        return;
    }
    // A character above 255 converts together with the text before it.
    referenceText.assign(text.view());
    appendReference(entity, entities, false, true, referenceText);
    text.assign(referenceText);
}

template <typename Events>
void XmlScanner<Events>::startTagOfText() {
    // An empty tag text inside an element, and one that the tokenizer cannot read, change nothing.
    const TagKind kind = tag.empty() ? TagKind::Unreadable : tokenizeTag(tag, separatorSet, parsed);
    tag.clear();
    if (kind == TagKind::Unreadable) return;
    startTag.name = parsed.name;
    startTag.open = parsed.open;
    startTag.blank = kind == TagKind::Blank;
    startTag.namesDiffer = false;
    startTag.plainName = PlainTagReader::isPlainName(startTag.name);
    startTag.attributeCount = parsed.attributeCount;
    if (startTag.attributes.size() < parsed.attributeCount) startTag.attributes.resize(parsed.attributeCount);
    for (std::size_t i = 0; i < parsed.attributeCount; ++i) {
        startTag.attributes[i] = {parsed.attributes[i].name, parsed.attributes[i].value};
    }
    reportStartTag();
}

// The scanner that builds trees, and one that reports to any receiver (for comparing the paths).
template class XmlScanner<TreeBuilder>;
template class XmlScanner<ParseEvents>;

}  // namespace KpXml::detail
