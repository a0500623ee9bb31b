#ifndef KPXML_TESTS_SUPPORT_PARSECOMPARISON_H
#define KPXML_TESTS_SUPPORT_PARSECOMPARISON_H

// Parses one text both ways the parser can read tags (directly where a tag allows it, and every
// tag step by step) and tells the first difference between the results. Used by the unit tests
// and the fuzz target.

#include <algorithm>
#include <cstddef>
#include <istream>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include "kpxml/KpXmlTree.h"
#include "xml/ParsingPath.h"

namespace KpXml::test {

// A stream buffer that hands out a text in pieces of at most pieceSize bytes, as a pipe might, so
// that tags and references straddle the pieces the parser reads.
class PiecewiseBuffer : public std::streambuf {
public:
    PiecewiseBuffer(std::string content, std::size_t pieceSize)
        : text(std::move(content)), piece(std::max<std::size_t>(pieceSize, 1)) {
        showFrom(0);
    }

protected:
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
};

// What a parse left: the tree, and where and in what state it left the stream.
struct ParseOutcome {
    KpXmlTree tree;
    std::streamoff position = 0;
    std::ios_base::iostate state = std::ios_base::goodbit;
};

inline void parseInto(ParseOutcome& outcome, const std::string& text, std::size_t pieceSize) {
    PiecewiseBuffer buffer(text, pieceSize);
    std::istream in(&buffer);
    outcome.tree.buildOfStream(in);
    outcome.state = in.rdstate();
    in.clear();
    outcome.position = in.tellg();
}

// The first difference between two trees, walked node by node (names, texts, entity flags,
// attributes in order with their entity flags, children), or the empty text when they are equal.
inline std::string treeDifference(const KpXmlData* first, const KpXmlData* second) {
    std::vector<std::pair<const KpXmlData*, const KpXmlData*>> pending{{first, second}};
    while (!pending.empty()) {
        const auto [a, b] = pending.back();
        pending.pop_back();
        if (a == nullptr || b == nullptr) {
            if (a != b) return "a node is missing on one side";
            continue;
        }
        const std::string where = "at node '" + a->getName() + "': ";
        if (a->getName() != b->getName()) return where + "other name '" + b->getName() + "'";
        if (a->getData() != b->getData()) return where + "texts '" + a->getData() + "' and '" + b->getData() + "'";
        if (a->getEntityFlag() != b->getEntityFlag()) return where + "entity flags differ";
        const auto& attributesA = a->getAttributes();
        const auto& attributesB = b->getAttributes();
        if (attributesA.size() != attributesB.size()) return where + "attribute counts differ";
        for (std::size_t i = 0; i < attributesA.size(); ++i) {
            const KpXmlAttributeData& x = *attributesA[i];
            const KpXmlAttributeData& y = *attributesB[i];
            if (x.getName() != y.getName() || x.getData() != y.getData() || x.getEntityFlag() != y.getEntityFlag()) {
                return where + "attributes " + x.getName() + "=\"" + x.getData() + "\" and " + y.getName() + "=\"" +
                       y.getData() + '"';
            }
        }
        const auto& childrenA = a->getChildren();
        const auto& childrenB = b->getChildren();
        if (childrenA.size() != childrenB.size()) return where + "child counts differ";
        for (std::size_t i = 0; i < childrenA.size(); ++i) {
            if ((childrenA[i] != nullptr && childrenA[i]->getParent() != a) ||
                (childrenB[i] != nullptr && childrenB[i]->getParent() != b)) {
                return where + "a child's parent is wrong";
            }
            pending.emplace_back(childrenA[i], childrenB[i]);
        }
    }
    return std::string();
}

// Parses text, delivered in pieces of pieceSize bytes, with and without reading tags directly;
// the first difference in tree, stream position or stream state, or the empty text.
inline std::string pathDifference(const std::string& text, std::size_t pieceSize) {
    ParseOutcome direct;
    ParseOutcome stepByStep;
    parseInto(direct, text, pieceSize);
    {
        const detail::StepByStepParsing reference;
        parseInto(stepByStep, text, pieceSize);
    }
    if (direct.position != stepByStep.position) {
        return "stream left at " + std::to_string(direct.position) + " and " + std::to_string(stepByStep.position);
    }
    if (direct.state != stepByStep.state) return "stream states differ";
    return treeDifference(direct.tree.getRoot(), stepByStep.tree.getRoot());
}

}  // namespace KpXml::test

#endif
