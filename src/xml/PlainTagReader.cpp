#include "xml/PlainTagReader.h"

#include <algorithm>
#include <cstring>

#include "platform/CodePage.h"
#include "xml/ShortCopy.h"
#include "xml/TagTokenizer.h"
#include "xml/TextConvert.h"

namespace KpXml::detail {

namespace {

// Appends one UTF-16 unit converted to the ANSI code page to text, as converting the whole text
// to UTF-16 with the unit added and back would.
void appendConvertedUnit(std::string& text, char16_t unit) {
    if (platform::ansiRoundTripsEveryByte()) {
        platform::utf16ToAnsi(&unit, 1, text);
        return;
    }
    std::u16string wide;
    platform::ansiToUtf16(text.data(), text.size(), wide);
    wide.push_back(unit);
    text.clear();
    platform::utf16ToAnsi(wide.data(), wide.size(), text);
}

}  // namespace

bool appendReference(const std::string& name, const EntityMap& entities, bool inTag, bool wide, std::string& target) {
    const auto known = entities.find(name);
    if (known != entities.end()) {
        target += known->second;
        return true;
    }
    const int code = atoi(name);
    if (code <= 255) {
        const char byte = static_cast<char>(code);
        if (inTag || !isTabOrLineBreak(byte)) target += byte;
        return true;
    }
    if (!wide) return false;
    if (!inTag && isTabOrLineBreak(static_cast<char>(code & 0xFF))) return true;
    appendConvertedUnit(target, static_cast<char16_t>(code & 0xFFFF));
    return true;
}

const EntityMap& defaultEntityMap() {
    // "quot" stays "&quot;" so that it cannot end a quoted attribute value; the tag tokenizer
    // turns it into a double quote once the value has been cut out.
    static const EntityMap entities{{"x000a", "\n"}, {"lt", "<"}, {"gt", ">"}, {"amp", "&"}, {"quot", "&quot;"}, {"apos", "'"}};
    return entities;
}

PlainTagReader::PlainTagReader(const std::string& separators, const EntityMap& entities)
    : entityTable(entities), separatorSet(separators) {
    knownReferences.reserve(entityTable.size());
    for (const auto& [name, text] : entityTable) {
        knownReferences.push_back({name, text, text.find('"') != std::string::npos, text.find('&') != std::string::npos});
    }
    knownByFirstByte.resize(256);
    for (const KnownReference& entry : knownReferences) {
        // A name that a reference read directly cannot have is left out (see matchKnown).
        if (entry.name.empty() || entry.name.find_first_of(";\"&<>") != std::string_view::npos) continue;
        KnownRange& range = knownByFirstByte[static_cast<unsigned char>(entry.name[0])];
        if (range.begin == nullptr) range.begin = &entry;
        range.end = &entry + 1;
    }
    for (const char c : separators) byteClasses[static_cast<unsigned char>(c)] = separator | endsName;
    for (const char c : {'/', '='}) byteClasses[static_cast<unsigned char>(c)] |= endsName;
    for (const char c : {'"', '&', '<', '>'}) {
        byteClasses[static_cast<unsigned char>(c)] |= endsName | endsValueRun | endsReference;
    }
    byteClasses[';'] |= endsReference;
    for (const char c : {'/', '>'}) byteClasses[static_cast<unsigned char>(c)] |= endsAttributes;
    for (unsigned byte = 0; byte < byteClasses.size(); ++byte) {
        const char c = static_cast<char>(byte);
        if (c != '#' && startsReference(c)) byteClasses[byte] |= startsName;
    }
    // A separator that is also markup reads differently in the tokenizer's hands: with one, every
    // start tag is left to the step-by-step reading, as every byte then ends a name (and none is
    // read). Where start tags are read, '<' (endOfBytes) is thus never a separator.
    if (separators.find_first_of("/=\"&<>") != std::string::npos) {
        for (unsigned char& entry : byteClasses) entry |= endsName;
    }
}

const PlainTagReader& PlainTagReader::forTables(const std::string& separators, const EntityMap& entities,
                                                std::optional<PlainTagReader>& own) {
    static const std::string defaultSeparators = " \t";
    static const PlainTagReader shared(defaultSeparators, defaultEntityMap());
    if (separators == defaultSeparators && (entities.empty() || entities == defaultEntityMap())) return shared;
    return own.emplace(separators, entities);
}

void PlainTagReader::makeRoomForAttributes(StartTag& tag) {
    if (tag.attributes.size() < maxAttributes) tag.attributes.resize(maxAttributes);
}

[[gnu::always_inline]] inline const PlainTagReader::KnownReference* PlainTagReader::matchKnown(const char* name,
                                                                                        const char*& after) const {
    const KnownRange range = knownByFirstByte[static_cast<unsigned char>(name[0])];
    for (const KnownReference* entry = range.begin; entry != range.end; ++entry) {
        // Byte by byte after the first, which the range matched, up to the first that differs:
        // the mark after the bytes in hand differs from every byte of these names.
        const char* known = entry->name.data();
        const std::size_t length = entry->name.size();
        std::size_t i = 1;
        while (i != length && known[i] == name[i]) ++i;
        if (i == length && name[length] == ';') {
            after = name + length + 1;
            return entry;
        }
    }
    return nullptr;
}

[[gnu::always_inline]] inline const PlainTagReader::KnownReference* PlainTagReader::findKnown(const char* name, std::size_t length) const {
    if (length == 0) {  // an empty name sorts first
        return !knownReferences.empty() && knownReferences.front().name.empty() ? &knownReferences.front() : nullptr;
    }
    // The ';' at name[length] is the first after name: the entry that matches up to a ';' is this one.
    const char* after = nullptr;
    return matchKnown(name, after);
}

PlainTagReader::TextReference PlainTagReader::readTextReference(const char* p) const {
    // '#' starts a character code, which is left to the step-by-step reading. (At the mark after the
    // bytes in hand, nothing starts.)
    if (!startsReferenceName(*p)) return {nullptr, nullptr};
    const char* after = nullptr;
    const KnownReference* known = matchKnown(p, after);
    if (known == nullptr) return {nullptr, nullptr};
    return {after, &known->text};
}

const char* PlainTagReader::readInstruction(const char* p, const char* end) {
    const auto* close = static_cast<const char*>(std::memchr(p, '>', static_cast<std::size_t>(end - p)));
    if (close == nullptr) return nullptr;
    return std::memchr(p, '&', static_cast<std::size_t>(close - p)) == nullptr ? close + 1 : nullptr;
}

char* PlainTagReader::growDecoded(DirectTagBuffers& buffers, const char* first, std::size_t length, std::size_t more) {
    // Seldom made again: most tags are shorter than the least room made.
    const std::size_t capacity = std::max({length + more, 2 * buffers.decodedCapacity, std::size_t{256}});
    std::unique_ptr<char[]> larger(new char[capacity]);  // left uninitialised: only what is written is read
    copyBytes(larger.get(), first, length);
    if (buffers.decoded != nullptr) buffers.retired.push_back(std::move(buffers.decoded));
    buffers.decoded = std::move(larger);
    buffers.decodedCapacity = capacity;
    buffers.decodedUsed = 0;
    return buffers.decoded.get();
}

bool PlainTagReader::decodeOtherReference(const char* name, std::size_t length, DirectTagBuffers& buffers) const {
    buffers.referenceName.assign(name, length);
    buffers.scratch.clear();
    if (!appendReference(buffers.referenceName, entityTable, true, false, buffers.scratch)) return false;
    return buffers.scratch.find('"') == std::string::npos;
}

std::size_t PlainTagReader::replaceQuotesInPlace(char* value, std::size_t length, DirectTagBuffers& buffers) {
    // Replacing "&quot;" only shortens the value.
    buffers.scratch = replaceQuotes(std::string(value, length));
    copyBytes(value, buffers.scratch.data(), buffers.scratch.size());
    return buffers.scratch.size();
}

const char* PlainTagReader::readDecodedValue(const char* start, const char* p, std::string_view& value,
                                             DirectTagBuffers& buffers) const {
    // Before the tag's first decoded value (or after empty ones), no view of the tag points into
    // the arrays that earlier tags left.
    if (buffers.decodedUsed == 0 && !buffers.retired.empty()) buffers.retired.clear();
    char* first = buffers.decoded.get() + buffers.decodedUsed;
    char* out = first;
    const char* roomEnd = buffers.decoded.get() + buffers.decodedCapacity;
    // Appends the size bytes at source to the value, making room first when it is short.
    const auto append = [&](const char* source, std::size_t size) {
        if (static_cast<std::size_t>(roomEnd - out) < size) {
            const auto length = static_cast<std::size_t>(out - first);
            first = growDecoded(buffers, first, length, size);
            out = first + length;
            roomEnd = buffers.decoded.get() + buffers.decodedCapacity;
        }
        out = copyBytes(out, source, size);
    };
    append(start, static_cast<std::size_t>(p - start));
    bool ampersand = false;  // a reference gave an '&', so "&quot;" may have formed
    for (;;) {
        if (*p == '"') break;
        if (*p != '&') return nullptr;  // '<' or '>'
        // A reference: its first byte starts it only when it is one of these ('#' is not kept).
        ++p;  // (the mark after the bytes in hand starts nothing)
        const char* afterKnown = nullptr;
        const KnownReference* known = startsReferenceName(*p) ? matchKnown(p, afterKnown) : nullptr;
        const char* nameStart = p;
        std::size_t nameLength = 0;
        if (known != nullptr) {  // most references name an entry of the table
            p = afterKnown;
        } else {  // a character code, or a name the table does not hold
            if (*p != '#' && !startsReferenceName(*p)) return nullptr;
            if (*p == '#') ++nameStart;
            p = skip(p + 1, endsReference);
            if (*p != ';') return nullptr;  // (the mark after the bytes in hand is not one)
            nameLength = static_cast<std::size_t>(p - nameStart);
            ++p;
            known = findKnown(nameStart, nameLength);
        }
        if (known != nullptr) {
            if (known->holdsQuote) return nullptr;
            if (known->text.size() == 1 && out != roomEnd) {  // most texts are one character
                *out++ = known->text[0];
            } else {
                append(known->text.data(), known->text.size());
            }
            ampersand |= known->holdsAmpersand;
        } else {
            if (!decodeOtherReference(nameStart, nameLength, buffers)) return nullptr;
            ampersand = ampersand || buffers.scratch.find('&') != std::string::npos;
            append(buffers.scratch.data(), buffers.scratch.size());
        }
        const char* run = p;
        p = skip(p, endsValueRun);  // the mark after the bytes in hand ends it as no value ends
        append(run, static_cast<std::size_t>(p - run));
    }
    auto length = static_cast<std::size_t>(out - first);
    if (ampersand) length = replaceQuotesInPlace(first, length, buffers);
    buffers.decodedUsed = static_cast<std::size_t>(first - buffers.decoded.get()) + length;
    value = std::string_view(first, length);
    return p;
}

const char* PlainTagReader::readAttributes(const char* p, StartTag& tag, DirectTagBuffers& buffers) const {
    // One pass over the rest of the tag: each attribute after its separators, up to the '>' or
    // "/>". The views go straight into the tag's array, which has room for every attribute read
    // directly (see makeRoomForAttributes).
    //
    // The tag's name ends at a separator ('=', '"', '&' or '<' right after it is left to the
    // tokenizer; readStartTag has taken '/' and '>'); a later attribute may follow a value's quote
    // at once.
    if ((byteClasses[static_cast<unsigned char>(*p)] & separator) == 0) return nullptr;
    ++p;  // past that separator, which the first search for the next attribute need not test again
    TagAttributeView* const attributes = tag.attributes.data();
    std::size_t count = 0;
    buffers.decodedUsed = 0;
    // The bytes in hand end inside the tag when a name or value reaches the mark after them (see
    // endOfBytes), which is neither a separator nor a byte a name or value holds, nor '=' or '"':
    // the checks each part needs anyway decline the tag there.
    for (;;) {
        // p is after the name's separator or after a value's closing quote.
        const char* const next = skipSeparators(p);
        if ((byteClasses[static_cast<unsigned char>(*next)] & endsAttributes) != 0) {  // '>' or "/>"
            tag.attributeCount = count;
            return readTagEnd(next, tag);
        }
        const char* const attributeName = next;
        p = skip(next, endsName);
        if (p == attributeName || p[0] != '=' || p[1] != '"') return nullptr;
        const std::string_view readName(attributeName, static_cast<std::size_t>(p - attributeName));
        for (std::size_t i = 0; i < count; ++i) {
            // A repeated name updates the earlier attribute. Most names of a tag differ in length or
            // in the first byte, which are compared before the call that compares all.
            const std::string_view earlier = attributes[i].name;
            if (earlier.size() == readName.size() && earlier[0] == readName[0] && earlier == readName) return nullptr;
        }
        if (count == maxAttributes) return nullptr;
        // Most values hold no reference: the value is the bytes themselves.
        TagAttributeView& attribute = attributes[count];
        attribute.name = readName;
        const char* const value = p + 2;
        p = skip(value, endsValueRun);
        attribute.value = std::string_view(value, static_cast<std::size_t>(p - value));
        if (*p != '"') {  // readDecodedValue declines the mark after the bytes in hand
            p = readDecodedValue(value, p, attribute.value, buffers);
            if (p == nullptr) return nullptr;
        }
        ++count;
        ++p;
    }
}

}  // namespace KpXml::detail
