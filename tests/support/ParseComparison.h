#ifndef KPXML_TESTS_SUPPORT_PARSECOMPARISON_H
#define KPXML_TESTS_SUPPORT_PARSECOMPARISON_H

// Parses one text both ways the parser can read tags (directly where a tag allows it, and every
// tag step by step) and tells the difference between the results. Used by the unit tests and the
// fuzz target.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <cstddef>
#include <istream>
#include <streambuf>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "TestSupport.h"
#include "kpxml/KpXmlTree.h"
#include "xml/ParsingPath.h"
#include "xml/PlainTagReader.h"
#include "xml/TreeBuilder.h"
#include "xml/XmlScanner.h"

namespace KpXml::test {

// A stream buffer that hands out a text in pieces of at most pieceSize bytes, as a pipe might, so
// that tags and references straddle the pieces the parser reads. With countsAll, asked how much
// is available once a piece is used up, it answers all that is left, as a file's buffer does
// (more than one piece, so more than can be put back).
class PiecewiseBuffer : public std::streambuf {
public:
    PiecewiseBuffer(std::string content, std::size_t pieceSize, bool countsAll = false)
        : text(std::move(content)), piece(std::max<std::size_t>(pieceSize, 1)), all(countsAll) {
        showFrom(0);
    }

protected:
    std::streamsize showmanyc() override {
        if (!all) return 0;
        const auto left = static_cast<std::streamsize>(text.data() + text.size() - gptr());
        return left > 0 ? left : -1;
    }
    int_type underflow() override {
        const auto position = static_cast<std::size_t>(gptr() - text.data());
        if (position >= text.size()) return traits_type::eof();
        showFrom(position);
        return traits_type::to_int_type(*gptr());
    }
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction, std::ios_base::openmode) override {
        const off_type base = direction == std::ios_base::cur ? gptr() - text.data()
                            : direction == std::ios_base::end ? static_cast<off_type>(text.size())
                                                              : 0;
        return seekpos(pos_type(base + offset), std::ios_base::in);
    }
    pos_type seekpos(pos_type position, std::ios_base::openmode) override {
        const off_type offset = position;
        if (offset < 0 || offset > static_cast<off_type>(text.size())) return pos_type(off_type(-1));
        showFrom(static_cast<std::size_t>(offset));
        return position;
    }

private:
    void showFrom(std::size_t position) {
        char* begin = text.data();
        const std::size_t pieceEnd = std::min(text.size(), (position / piece + 1) * piece);
        setg(begin + position / piece * piece, begin + position, begin + pieceEnd);
    }

    std::string text;
    std::size_t piece;
    bool all;
};

// A tree on one line: the name ('' when empty), [name="value" ...] when there are attributes,
// :"text" when there is text, (child child ...) when there are children; '!' before a child whose
// parent is another node. Bytes are shown as by shown(). Walked without recursion, so any depth
// can be shown.
inline std::string dump(const KpXmlData* root) {
    std::string out;
    std::vector<std::variant<const KpXmlData*, const char*>> pending{root};  // nodes and punctuation
    while (!pending.empty()) {
        const auto item = pending.back();
        pending.pop_back();
        if (std::holds_alternative<const char*>(item)) {
            out += std::get<const char*>(item);
            continue;
        }
        const KpXmlData* node = std::get<const KpXmlData*>(item);
        if (node == nullptr) {
            out += "null";
            continue;
        }
        out += node->getName().empty() ? "''" : shown(node->getName());
        const char* separator = "[";
        for (const KpXmlAttributeData* attribute : node->getAttributes()) {
            out += separator + shown(attribute->getName()) + "=\"" + shown(attribute->getData()) + '"';
            separator = " ";
        }
        if (!node->getAttributes().empty()) out += ']';
        if (!node->getData().empty()) out += ":\"" + shown(node->getData()) + '"';
        const std::vector<KpXmlData*>& children = node->getChildren();
        if (!children.empty()) pending.push_back(")");
        for (auto child = children.rbegin(); child != children.rend(); ++child) {
            pending.push_back(*child);
            const bool adopted = *child != nullptr && (*child)->getParent() != node;
            const bool first = child + 1 == children.rend();
            pending.push_back(first ? (adopted ? "(!" : "(") : (adopted ? " !" : " "));
        }
    }
    return out;
}

// Receives a scanner's events, hands them on to a tree builder and writes each down, one line per
// event, with the stream position where it ended.
class EventLog final : public detail::ParseEvents {
public:
    explicit EventLog(KpXmlData& root) : builder(root) {}

    bool startTag(const detail::StartTag& tag, std::uint64_t at) override {
        std::string line = (tag.blank ? std::string("blank tag") : "<" + shown(std::string(tag.name)));
        for (std::size_t i = 0; i < tag.attributeCount; ++i) {
            line += ' ' + shown(std::string(tag.attributes[i].name)) + "=\"" + shown(std::string(tag.attributes[i].value)) + '"';
        }
        const bool opened = builder.startTag(tag, at);
        add(line + (tag.open ? ">" : "/>") + (opened ? " opened" : ""), at);
        return opened;
    }
    void endTag(std::string_view text, std::uint64_t at) override {
        const std::string line = "end tag, text \"" + shown(std::string(text)) + '"';
        builder.endTag(text, at);
        add(line, at);
    }
    void documentEnd(std::string_view text, std::uint64_t at) override {
        const std::string line = "document end, text \"" + shown(std::string(text)) + '"';
        builder.documentEnd(text, at);
        add(line, at);
    }
    void streamEnd(std::uint64_t at) override {
        builder.streamEnd(at);
        add("stream end", at);
    }

    // The events in order, with the positions where they ended.
    std::vector<std::pair<std::string, std::uint64_t>> events;

private:
    // Writes the event down, once the builder has taken it, and passes on which end tag the
    // builder now waits for.
    void add(const std::string& event, std::uint64_t at) {
        events.emplace_back(event, at);
        awaitEndTag(builder.atDocumentLevel(), builder.endTagName(), builder.endTagNameIsPlain());
    }
    detail::TreeBuilder builder;
};

// The events of a parse of text delivered in pieces of pieceSize bytes, read directly where the
// direct reader allows or (direct false) all step by step.
inline std::vector<std::pair<std::string, std::uint64_t>> parseEvents(const std::string& text, std::size_t pieceSize,
                                                                      bool direct) {
    PiecewiseBuffer buffer(text, pieceSize);
    KpXmlData root;
    EventLog log(root);
    std::optional<detail::PlainTagReader> own;
    const detail::PlainTagReader& tables = detail::PlainTagReader::forTables(" \t", detail::defaultEntityMap(), own);
    detail::XmlScanner<detail::ParseEvents> scanner(log, direct ? &tables : nullptr, tables.separators(), tables.entities());
    scanner.run(buffer);
    return log.events;
}

// Compares the events of the two ways of reading text (in pieces of pieceSize bytes): the first
// event where they differ, with the position in the input where it ended, or the empty text.
inline std::string eventDifference(const std::string& text, std::size_t pieceSize) {
    const auto direct = parseEvents(text, pieceSize, true);
    const auto stepByStep = parseEvents(text, pieceSize, false);
    for (std::size_t i = 0; i < std::max(direct.size(), stepByStep.size()); ++i) {
        if (i < direct.size() && i < stepByStep.size() && direct[i] == stepByStep[i]) continue;
        auto describe = [](const auto& events, std::size_t index) {
            return index < events.size() ? events[index].first + " (ending at byte " + std::to_string(events[index].second) + ")"
                                         : std::string("no event");
        };
        const std::uint64_t at = std::min(i < direct.size() ? direct[i].second : UINT64_MAX,
                                          i < stepByStep.size() ? stepByStep[i].second : UINT64_MAX);
        return "event " + std::to_string(i) + ", by byte " + std::to_string(at) + ": direct: " + describe(direct, i) +
               "; step by step: " + describe(stepByStep, i);
    }
    return std::string();
}

// What a parse of text, delivered in pieces of pieceSize bytes, leaves: the tree, and the state
// and position of the stream.
inline std::string parseOutcome(const std::string& text, std::size_t pieceSize) {
    PiecewiseBuffer buffer(text, pieceSize);
    std::istream in(&buffer);
    KpXmlTree tree;
    tree.buildOfStream(in);
    const int state = static_cast<int>(in.rdstate());
    in.clear();
    return dump(tree.getRoot()) + "\nstream state " + std::to_string(state) + " at " + std::to_string(in.tellg());
}

// Parses text, delivered in pieces of pieceSize bytes, with and without reading tags directly:
// the first event where they differ, or else both outcomes (tree and stream) when they differ,
// or the empty text.
inline std::string pathDifference(const std::string& text, std::size_t pieceSize) {
    const std::string events = eventDifference(text, pieceSize);
    if (!events.empty()) return events;
    const std::string direct = parseOutcome(text, pieceSize);
    const detail::StepByStepParsing stepByStep;
    const std::string reference = parseOutcome(text, pieceSize);
    return direct == reference ? std::string() : "direct: " + direct + "\nstep by step: " + reference;
}

}  // namespace KpXml::test

#endif
