// The writer of KpXmlTree: an element per line, indented by its depth in the document.

#include "kpxml/KpXmlTree.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "xml/Escaper.h"

namespace {

// The number of parent-pointer hops from node up to the top of its document. A cycle of parent
// pointers is noticed (a pointer advancing at half speed is met again) and ends the count there.
std::size_t countAncestors(const KpXmlData* node) {
    std::size_t depth = 0;
    const KpXmlData* slow = node;
    for (const KpXmlData* ancestor = node->getParent(); ancestor != nullptr; ancestor = ancestor->getParent()) {
        ++depth;
        if ((depth & 1u) == 0) slow = slow->getParent();
        if (ancestor == slow) break;
    }
    return depth;
}

// The bytes of one line as it is being built: appends copy into storage that grows only when a
// line is longer than any before it.
class LineBuffer {
public:
    // Where the next n bytes go; they count once commit is given their end.
    char* room(std::size_t n) {
        if (capacity - used < n) grow(n);
        return storage.get() + used;
    }
    void commit(const char* end) { used = static_cast<std::size_t>(end - storage.get()); }
    void append(const char* text, std::size_t size) {
        std::memcpy(room(size), text, size);
        used += size;
    }
    void append(const std::string& text) { append(text.data(), text.size()); }
    void append(char c) {
        *room(1) = c;
        ++used;
    }
    const char* data() const { return storage.get(); }
    std::size_t size() const { return used; }
    void clear() { used = 0; }

private:
    void grow(std::size_t n) {
        const std::size_t wanted = std::max(used + n, 2 * capacity);
        std::unique_ptr<char[]> larger(new char[wanted]);
        if (used != 0) std::memcpy(larger.get(), storage.get(), used);
        storage = std::move(larger);
        capacity = wanted;
    }

    std::unique_ptr<char[]> storage;
    std::size_t used = 0;
    std::size_t capacity = 0;
};

// The state of one call of putNode. Output is gathered line by line in one reused buffer; each
// line goes to the stream with one write and is followed by a flush, as std::endl does.
class NodeWriter {
public:
    NodeWriter(std::ostream& stream, const std::string& indentUnit, const std::map<char, std::string>& entities)
        : out(stream), indent(indentUnit), escaper(KpXml::detail::Escaper::forMap(entities, ownEscaper)) {}

    void write(const KpXmlData* top) {
        const std::size_t topDepth = indent.empty() ? 0 : countAncestors(top);
        if (!openElement(top, topDepth)) return;
        while (!stack.empty()) {
            Frame& frame = stack.back();
            const std::vector<KpXmlData*>& children = frame.node->getChildren();
            if (frame.next < children.size()) {
                const KpXmlData* child = children[frame.next++];
                if (child == nullptr) continue;
                std::size_t depth = 0;
                if (!indent.empty()) depth = child->getParent() == frame.node ? frame.depth + 1 : countAncestors(child);
                openElement(child, depth);  // may grow the stack: frame is not used after this
                continue;
            }
            // All children written: the end tag on a line of its own, indented like the start tag.
            appendIndent(frame.depth);
            closeElement(*frame.node);
            stack.pop_back();
        }
    }

private:
    struct Frame {
        const KpXmlData* node;
        std::size_t depth;
        std::size_t next;  // index of the next child to write
    };

    // Writes the start tag and the text of node. Returns true, with a frame pushed for the
    // children, when the element stays open; false when it was written completely.
    bool openElement(const KpXmlData* node, std::size_t depth) {
        appendIndent(depth);
        line.append('<');
        line.append(node->getName());
        for (const KpXmlAttributeData* attribute : node->getAttributes()) {
            if (attribute == nullptr) continue;
            const std::string& attributeName = attribute->getName();
            const std::string& value = attribute->getData();
            char* at = line.room(4 + (attributeName.size() + value.size()) * escaper.maxExpansion());
            *at++ = ' ';
            at = escaper.write(at, attributeName.data(), attributeName.size(), false);
            *at++ = '=';
            *at++ = '"';
            if (attribute->getEntityFlag()) {
                at = escaper.write(at, value.data(), value.size(), true);
            } else {
                at = std::copy(value.begin(), value.end(), at);
            }
            *at++ = '"';
            line.commit(at);
        }
        const std::string& text = node->getData();
        const bool hasChildren = !node->getChildren().empty();
        if (text.empty() && !hasChildren) {
            line.append(" />", 3);
            endLine();
            return false;
        }
        line.append('>');
        if (hasChildren) endLine();
        // The text stays in the line buffer: the first child's indentation and start tag follow it.
        if (!text.empty()) {
            if (node->getEntityFlag()) {
                line.commit(escaper.write(line.room(text.size() * escaper.maxExpansion()), text.data(), text.size(), false));
            } else {
                line.append(text);
            }
        }
        if (!hasChildren) {
            closeElement(*node);
            return false;
        }
        stack.push_back(Frame{node, depth, 0});
        return true;
    }

    void closeElement(const KpXmlData& node) {
        const std::string& name = node.getName();
        char* at = line.room(name.size() + 4);
        *at++ = '<';
        *at++ = '/';
        at = std::copy(name.begin(), name.end(), at);
        *at++ = '>';
        line.commit(at);
        endLine();
    }

    // Appends the indentation unit depth times, from a run of units kept for the deepest level so far.
    void appendIndent(std::size_t depth) {
        if (indent.empty() || depth == 0) return;
        const std::size_t length = depth * indent.size();
        while (indentRun.size() < length) indentRun += indent;
        line.append(indentRun.data(), length);
    }

    void endLine() {
        line.append('\n');
        out.write(line.data(), static_cast<std::streamsize>(line.size()));
        out.flush();
        line.clear();
    }

    std::ostream& out;
    const std::string& indent;
    std::optional<KpXml::detail::Escaper> ownEscaper;
    const KpXml::detail::Escaper& escaper;
    LineBuffer line;
    std::string indentRun;
    std::vector<Frame> stack;
};

}  // namespace

void KpXmlTree::putToStream(std::ostream& out, bool declaration) const {
    if (declaration) {
        static const char declarationLine[] = "<?xml version=\"1.0\"?>\n";
        out.write(declarationLine, static_cast<std::streamsize>(sizeof declarationLine - 1));
        out.flush();
    }
    if (root != nullptr) putNode(out, root);
}

void KpXmlTree::putNode(std::ostream& out, const KpXmlData* node) const {
    if (node == nullptr) return;
    NodeWriter(out, indent, escapeMap).write(node);
}

void KpXmlTree::setIndent(const std::string& unit) {
    if (unit.empty() || unit == "\t" || unit.find_first_not_of(' ') == std::string::npos) indent = unit;
}
