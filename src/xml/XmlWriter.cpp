// The writer of KpXmlTree: an element per line, indented by its depth in the document.

#include "kpxml/KpXmlTree.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <ios>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <typeinfo>
#include <vector>

#include "xml/Escaper.h"
#include "xml/ShortCopy.h"
#include "xml/TextBuffer.h"

namespace {

using KpXml::detail::copyBlock16;
using KpXml::detail::copyBytes;
using KpXml::detail::growBytes;

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

// The finished lines not yet handed to the stream, followed by the bytes of the line being built:
// the writer asks for room for the most a piece can take, stores into it and commits the end;
// storage grows only when the lines held are longer than any before.
class LineBuffer {
public:
    // Bytes beyond the room asked for that may also be written: short pieces are moved as whole
    // blocks of this size, and only the bytes up to the committed end count.
    static constexpr std::size_t slack = 16;

    // Where the next n bytes go; they count once commit is given their end.
    char* room(std::size_t n) {
        if (capacity - used < n + slack) grow(n + slack);
        return storage.get() + used;
    }
    void commit(const char* end) { used = static_cast<std::size_t>(end - storage.get()); }
    // Marks the bytes committed so far as finished lines.
    void finishLine() { finished = used; }
    const char* data() const { return storage.get(); }
    // The number of bytes of finished lines, from data().
    std::size_t finishedSize() const { return finished; }
    void clear() { used = finished = 0; }

private:
    // Makes room for n more bytes, at least twice the room there was. Out of line: it runs seldom,
    // and the writer's loop, into which room() is compiled, keeps its registers for the rest.
    [[gnu::noinline]] void grow(std::size_t n) { growBytes(storage, used, capacity, used + n); }

    std::unique_ptr<char[]> storage;
    std::size_t used = 0;
    std::size_t finished = 0;
    std::size_t capacity = 0;
};

// Hands finished lines to a stream, each as out.write(line) followed by out.flush() does: the
// stream buffer gets the same calls (the line in one sputn, then one pubsync) and the stream ends
// in the same state, also when its buffer fails or throws. For the usual stream (good, tied to no
// other stream, not unit-buffered) the two stream buffer calls are made here, without the sentry
// that write and flush each set up and the checks it repeats; any other stream is left to its own
// write and flush.
class LineOutput {
public:
    explicit LineOutput(std::ostream& stream) : out(stream), settings(stream) {}

    // Whether lines may be handed over several at a time, as one piece with one flush, without
    // anyone seeing a difference: the stream is plain and its buffer is a std::stringbuf itself
    // (no class derived from it, whose overrides would see the calls). That buffer's sync does
    // nothing and nothing else runs during a write to see what it holds; a run of lines leaves the
    // same bytes as each line with its own calls, also when growing the string fails, which happens
    // at the same offset of the output either way.
    bool takesSeveralLines() const {
        if (!isPlain()) return false;
        const std::streambuf& buffer = *settings.rdbuf();  // a good stream has a buffer
        return typeid(buffer) == typeid(std::stringbuf);
    }

    void put(const char* line, std::streamsize size) {
        if (!isPlain()) {
            out.write(line, size);
            out.flush();
            return;
        }
        std::streambuf& buffer = *out.rdbuf();  // a good stream has one
        // write: a short write sets badbit.
        if (!succeeds([&] { return buffer.sputn(line, size) == size; })) out.setstate(std::ios_base::badbit);
        // flush: a failed write has made the stream bad, and flush's own sentry has its say then.
        if (!isPlain()) {
            out.flush();
            return;
        }
        if (!succeeds([&] { return buffer.pubsync() != -1; })) out.setstate(std::ios_base::badbit);
    }

private:
    // Whether write and flush would do their work here at once: the stream is good (so their
    // sentries let them go on), there is no tied stream for the sentries to flush, and no unit
    // buffering for the sentries to flush again at their end.
    bool isPlain() const {
        return settings.rdstate() == std::ios_base::goodbit && settings.tie() == nullptr &&
               (settings.flags() & std::ios_base::unitbuf) == 0;
    }

    // The result of call, a call of the stream buffer; false when it threw. As in the stream's own
    // output functions, an exception sets badbit and goes on only when the stream's exception mask
    // holds badbit (the unwinding of a cancelled thread always goes on).
    template <typename Call>
    bool succeeds(Call call) {
        try {
            return call();
        } catch (const abi::__forced_unwind&) {
            setBadWithoutThrowing();
            throw;
        } catch (...) {
            setBadWithoutThrowing();
            if ((out.exceptions() & std::ios_base::badbit) != 0) throw;
            return false;
        }
    }

    // Sets badbit, without the ios_base::failure that setstate throws when the mask holds badbit:
    // the stream buffer's own exception is the one that goes on.
    void setBadWithoutThrowing() {
        try {
            out.setstate(std::ios_base::badbit);
        } catch (const std::ios_base::failure&) {
        }
    }

    std::ostream& out;
    // The stream's state, tie and flags, reached once instead of through the virtual base each time.
    const std::ios& settings;
};

// The state of one call of putNode. Output is gathered line by line in one reused buffer; each
// line goes to the stream with one write and is followed by a flush, as std::endl does, or, where
// nobody can tell the difference (LineOutput::takesSeveralLines), lines are handed over together,
// handOverBytes or a little more at a time.
class NodeWriter {
public:
    NodeWriter(std::ostream& stream, const std::string& indentUnit, const std::map<char, std::string>& entities)
        : out(stream),
          handOverAt(out.takesSeveralLines() ? handOverBytes : 0),
          indent(indentUnit),
          escaper(KpXml::detail::Escaper::forMap(entities, ownEscaper)) {
        if (!indent.empty()) growIndentRun(LineBuffer::slack);
    }
    // Not copyable: escaper may refer to the writer's own ownEscaper.
    NodeWriter(const NodeWriter&) = delete;
    NodeWriter& operator=(const NodeWriter&) = delete;

    // Writes top with its subtree. The lines finished when something throws reach the stream
    // before the exception goes on, as they would have line by line.
    void write(const KpXmlData* top) {
        try {
            writeElements(top);
        } catch (...) {
            handOverLines();
            throw;
        }
        handOverLines();
    }

private:
    struct Frame {
        const KpXmlData* node;
        std::size_t depth;
        std::size_t next;  // index of the next child to write
    };

    // Lines are handed over once they hold this many bytes, where several may go at once, so that
    // the calls of the stream buffer are rare (a 100 MB document written to a string stream went
    // faster with 64 KiB than with 8 KiB, and no faster with 256 KiB).
    static constexpr std::size_t handOverBytes = 65536;

    void writeElements(const KpXmlData* top) {
        // One place opens elements, the top one included, so that the compiler can inline it.
        const KpXmlData* element = top;
        std::size_t depth = indent.empty() ? 0 : countAncestors(top);
        for (;;) {
            if (element != nullptr) {
                openElement(element, depth);  // may grow the stack
                element = nullptr;
            }
            if (stack.empty()) return;
            Frame& frame = stack.back();
            const std::vector<KpXmlData*>& children = frame.node->getChildren();
            if (frame.next < children.size()) {
                element = children[frame.next++];
                if (element != nullptr && !indent.empty()) {
                    depth = element->getParent() == frame.node ? frame.depth + 1 : countAncestors(element);
                }
                continue;
            }
            // All children written: the end tag on a line of its own, indented like the start tag.
            closeElement(*frame.node, frame.depth);
            stack.pop_back();
        }
    }

    // Writes the start tag and the text of node. An element with children stays open, with a
    // frame pushed for them; any other is written completely.
    void openElement(const KpXmlData* node, std::size_t depth) {
        const std::string& name = node->getName();
        const std::string& text = node->getData();
        const std::vector<KpXmlAttributeData*>& attributes = node->getAttributes();
        const bool hasChildren = !node->getChildren().empty();
        const std::size_t expansion = escaper.maxExpansion();
        // Room for the longest the line can be: indentation, "<name", the attributes, " />" or
        // ">", the text escaped and "</name>\n". One size check, then plain stores.
        std::size_t longest = depth * indent.size() + 2 * name.size() + 6 + text.size() * expansion;
        for (const KpXmlAttributeData* attribute : attributes) {
            if (attribute != nullptr) longest += 4 + (attribute->getName().size() + attribute->getData().size()) * expansion;
        }
        char* at = appendIndent(line.room(longest), depth);
        *at++ = '<';
        at = copyBytes(at, name.data(), name.size());
        for (const KpXmlAttributeData* attribute : attributes) {
            if (attribute == nullptr) continue;
            const std::string& attributeName = attribute->getName();
            const std::string& value = attribute->getData();
            *at++ = ' ';
            at = escaper.write(at, attributeName.data(), attributeName.size(), false);
            *at++ = '=';
            *at++ = '"';
            if (attribute->getEntityFlag()) {
                at = escaper.write(at, value.data(), value.size(), true);
            } else {
                at = copyBytes(at, value.data(), value.size());
            }
            *at++ = '"';
        }
        if (text.empty() && !hasChildren) {
            std::memcpy(at, " />", 3);
            endLine(at + 3);
            return;
        }
        *at++ = '>';
        if (hasChildren) {
            endLine(at);
            // The text stays in the line buffer: the first child's indentation and start tag follow it.
            if (!text.empty()) line.commit(writeText(line.room(text.size() * expansion), *node));
            stack.push_back(Frame{node, depth, 0});
            return;
        }
        endLine(writeEndTag(writeText(at, *node), name));
    }

    // Writes the text of node into the line from at, escaped when its flag says so; returns the end.
    char* writeText(char* at, const KpXmlData& node) const {
        const std::string& text = node.getData();
        if (node.getEntityFlag()) return escaper.write(at, text.data(), text.size(), false);
        return copyBytes(at, text.data(), text.size());
    }

    // Writes "</name>" into the line from at, which has room for it; returns the end.
    static char* writeEndTag(char* at, const std::string& name) {
        *at++ = '<';
        *at++ = '/';
        at = copyBytes(at, name.data(), name.size());
        *at++ = '>';
        return at;
    }

    // The end tag of an element whose children are written, on a line of its own.
    void closeElement(const KpXmlData& node, std::size_t depth) {
        const std::string& name = node.getName();
        endLine(writeEndTag(appendIndent(line.room(depth * indent.size() + name.size() + 4), depth), name));
    }

    // Writes the indentation unit depth times into the line from at, which has room for it, from a
    // run of units kept for the deepest level so far (and at least LineBuffer::slack bytes long,
    // so that shallow indentation is moved as one block); returns the end.
    char* appendIndent(char* at, std::size_t depth) {
        const std::size_t length = depth * indent.size();
        if (length == 0) return at;
        // A 16-byte block: the line buffer lets 16 bytes be written at at, and the run holds 16 bytes
        // to read (the constructor made it at least slack long).
        static_assert(LineBuffer::slack >= 16, "copyBlock16 writes 16 bytes where length were asked for");
        if (length <= 16 && indentRun.size() >= 16) {
            copyBlock16(at, indentRun.data());
            return at + length;
        }
        if (indentRun.size() < length) growIndentRun(length);
        return copyBytes(at, indentRun.data(), length);
    }

    void growIndentRun(std::size_t length) {
        while (indentRun.size() < length) indentRun += indent;
    }

    // Ends the line, whose bytes run up to at, with a line feed (room for it is part of every
    // reservation), and hands the finished lines to the stream once they hold handOverAt bytes.
    void endLine(char* at) {
        *at++ = '\n';
        line.commit(at);
        line.finishLine();
        if (line.finishedSize() >= handOverAt) handOverLines();
    }

    // Hands the finished lines to the stream, as one write followed by a flush; the bytes after
    // them, of a line not yet finished, are dropped. They count as handed over also when the
    // stream throws.
    void handOverLines() {
        const std::size_t size = line.finishedSize();
        if (size == 0) return;
        line.clear();  // the bytes stay where they are until the next store
        out.put(line.data(), static_cast<std::streamsize>(size));
    }

    LineOutput out;
    // The bytes of finished lines that are handed over together: 0 where each line goes on its own.
    const std::size_t handOverAt;
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
        LineOutput(out).put(declarationLine, static_cast<std::streamsize>(sizeof declarationLine - 1));
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
