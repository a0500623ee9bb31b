// Tests of the document: the root, the current node moved by open and close, shared copies, the
// editing calls that act through the current node, the exchange wrapper's ownership, and writing.

#include "kpxml/KpExchangeXml.h"
#include "kpxml/KpXmlTree.h"

#include <gtest/gtest.h>

#include "TestSupport.h"

#include <cstddef>
#include <functional>
#include <ios>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

namespace {

using KpXml::test::written;

TEST(DocumentTest, EditingCallsActOnlyOnTheCurrentNode) {
    KpXmlTree tree("r");
    EXPECT_EQ(tree.getCurrentNode(), nullptr);
    tree.getRoot()->setAttribute("x", std::string("1"));
    KpXmlData* child = tree.getRoot()->createChild("c");
    child->createChild("gone");
    child->createChild("kept")->createChild("deep");
    EXPECT_EQ(tree.findAttribute("x"), nullptr);
    tree.setAttribute("x", 2.0);
    tree.setAttribute("y", 2.0, "%g");
    tree.setValue(3.0, "%g");
    tree.remove("c");
    tree.flush();
    ASSERT_EQ(written(tree), "<r x=\"1\">\n<c>\n<gone />\n<kept>\n<deep />\n</kept>\n</c>\n</r>\n");

    tree.setCurrentNode(child);
    tree.setAttribute("d", 0.1);
    tree.setAttribute("f", 2.5, "%.2f");
    tree.setValue(1.5, "%g");
    tree.remove("gone");
    EXPECT_EQ(written(tree), "<r x=\"1\">\n<c d=\"0.10000000000000000555\" f=\"2.50\">\n1.5<kept>\n<deep />\n</kept>\n</c>\n</r>\n");
    tree.flush();
    EXPECT_EQ(written(tree), "<r x=\"1\">\n<c>1.5</c>\n</r>\n");
    tree.flushRoot();
    EXPECT_EQ(written(tree), "<r />\n");
}

TEST(DocumentTest, OpenAndClose) {
    // An empty document ignores everything but open.
    KpXmlTree tree;
    tree.close();
    tree.setName("x");
    tree.setAttribute("x", 1.0);
    tree.flushRoot();
    EXPECT_EQ(tree.getRoot(), nullptr);
    EXPECT_EQ(tree.getCurrentNode(), nullptr);
    // The first open creates the root and selects it.
    KpXmlData* root = tree.open("a", false);
    EXPECT_EQ(tree.getRoot(), root);
    EXPECT_EQ(tree.getCurrentNode(), root);
    EXPECT_EQ(root->getName(), "a");
    // With a current node, the same name opens a child.
    KpXmlData* child = tree.open("a", false);
    EXPECT_EQ(tree.getCurrentNode(), child);
    EXPECT_EQ(root->getChildren(), std::vector<KpXmlData*>{child});
    // Up to the root, then above it.
    tree.close();
    EXPECT_EQ(tree.getCurrentNode(), root);
    tree.close();
    EXPECT_EQ(tree.getCurrentNode(), nullptr);
    // Without a current node, the root's name selects the root; an existing child is reused
    // unless a new one is asked for.
    EXPECT_EQ(tree.open("a", false), root);
    EXPECT_EQ(tree.open("a", false), child);
    tree.close();
    KpXmlData* second = tree.open("a", true);
    EXPECT_NE(second, child);
    // Without a current node, another name opens a child of the root.
    tree.setCurrentNode(nullptr);
    KpXmlData* other = tree.open("b", false);
    EXPECT_EQ(root->getChildren(), (std::vector<KpXmlData*>{child, second, other}));
    // close without a current node selects the root.
    tree.setCurrentNode(nullptr);
    tree.close();
    EXPECT_EQ(tree.getCurrentNode(), root);
}

TEST(DocumentTest, CopiesShareNodesButNotIndentation) {
    KpXmlTree a("r");
    a.getRoot()->createChild("c");
    a.setIndent("  ");
    a.open("r", false);

    KpXmlTree b(a);
    EXPECT_EQ(b.getCurrentNode(), a.getRoot());
    b.setIndent("\t");
    b.setName("shared");
    EXPECT_EQ(written(a), "<shared>\n  <c />\n</shared>\n");
    EXPECT_EQ(written(b), "<shared>\n\t<c />\n</shared>\n");

    // Assignment replaces the root without deleting it, and copies the indentation.
    KpXmlTree c("other");
    KpXmlData* otherRoot = c.getRoot();
    c = b;
    EXPECT_EQ(c.getCurrentNode(), a.getRoot());
    EXPECT_EQ(written(c), "<shared>\n\t<c />\n</shared>\n");
    EXPECT_EQ(otherRoot->getName(), "other");
    delete otherRoot;

    // Only a keeps the shared root at destruction.
    b.setRoot(nullptr);
    c.setRoot(nullptr);
}

// Counts destroyed documents.
struct CountedTree : KpXmlTree {
    CountedTree(const std::string& name, int* counter) : KpXmlTree(name), destroyed(counter) {}
    ~CountedTree() override { ++*destroyed; }
    int* destroyed;
};

// Reaches the protected document access, as the classes built on the wrapper do.
struct Exchange : KpExchangeXml {
    using KpExchangeXml::setTree;
};

TEST(ExchangeTest, CallsGoToTheHeldDocumentWhichGoesWithTheWrapperButNotWhenReplaced) {
    int destroyed = 0;
    auto* first = new CountedTree("a", &destroyed);
    {
        Exchange exchange;
        exchange.setTree(first);
        exchange.open("a");  // selects the root
        exchange.open("b");
        exchange.close();
        exchange.open("b");  // the same child again
        exchange.close();
        EXPECT_EQ(written(*first), "<a>\n<b />\n</a>\n");
        exchange.flush();
        EXPECT_EQ(written(*first), "<a />\n");
        exchange.setTree(new CountedTree("b", &destroyed));  // the first is the caller's again
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);  // the second went with the wrapper
    delete first;
}

// The writer: line layout, indentation and escaping (expected byte values of 128 and more are those
// of Windows-1252, the ANSI code page on POSIX and under Wine), and a document deeper than any call
// stack written and read back. (The round-trip fuzz target writes and reads back every kind.)

// Records how much had been written at each flush.
struct FlushRecorder : std::stringbuf {
    std::vector<std::size_t> flushedAt;
    int sync() override {
        flushedAt.push_back(str().size());
        return 0;
    }
};

// Null children are skipped (an element with only those is no empty element); element names are
// written as they are.
TEST(WriterTest, TextBeforeTheFirstChildAndAFlushAfterEveryLine) {
    KpXmlTree tree("r");
    tree.getRoot()->setData("t");
    tree.getRoot()->setAttribute("b", std::string("1"));
    tree.getRoot()->setAttribute("a", std::string());
    tree.getRoot()->addChild(nullptr);
    tree.getRoot()->createChild("a&b=\"c\"")->setData("x");
    tree.getRoot()->createChild("b")->createChild("c")->addChild(nullptr);
    tree.setIndent("\t");
    FlushRecorder buffer;
    std::ostream out(&buffer);
    tree.putToStream(out, true);
    const std::string text = buffer.str();
    EXPECT_EQ(text, "<?xml version=\"1.0\"?>\n<r b=\"1\" a=\"\">\nt\t<a&b=\"c\">x</a&b=\"c\">\n\t<b>\n\t\t<c>\n\t\t</c>\n\t</b>\n</r>\n");
    std::vector<std::size_t> lineEnds;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') lineEnds.push_back(i + 1);
    }
    EXPECT_EQ(buffer.flushedAt, lineEnds);
}

// A document of a few hundred kilobytes, with a line of 50,000 bytes in its middle, reaches a string
// stream whole (there lines may go several at a time); a buffer derived from the string stream's
// still gets a flush after every line.
TEST(WriterTest, LongDocumentReachesAStringStreamWholeAndADerivedBufferLineByLine) {
    const std::string longText(50000, 'w');
    KpXmlTree tree("r");
    tree.setIndent("  ");
    std::string expected = "<?xml version=\"1.0\"?>\n<r>\n";
    for (int i = 0; i < 10000; ++i) {
        KpXmlData* child = tree.getRoot()->createChild("c");
        child->setData(i == 5000 ? longText : "<" + std::to_string(i) + ">");
        child->createChild("d");
        // The text goes before the first child's indentation.
        expected += "  <c>\n" + (i == 5000 ? longText : "&lt;" + std::to_string(i) + "&gt;") + "    <d />\n  </c>\n";
    }
    expected += "</r>\n";

    std::ostringstream stringStream;
    tree.putToStream(stringStream, true);
    EXPECT_EQ(stringStream.str(), expected);
    EXPECT_TRUE(stringStream.good());

    FlushRecorder buffer;
    std::ostream out(&buffer);
    tree.putToStream(out, true);
    EXPECT_EQ(buffer.str(), expected);
    std::vector<std::size_t> lineEnds;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (expected[i] == '\n') lineEnds.push_back(i + 1);
    }
    EXPECT_EQ(buffer.flushedAt, lineEnds);
}

// A stream buffer that logs what it is asked to do and fails or throws at a chosen call.
struct ScriptedBuffer : std::streambuf {
    enum class Fault { None, ShortWrite, WriteThrows, SyncFails, SyncThrows };
    Fault fault = Fault::None;
    int faultAt = 2;  // the call of the faulty kind (1 for the first) that fails
    std::string log;  // bytes as received, "|" for each sync
    int writes = 0;
    int syncs = 0;

    std::streamsize xsputn(const char* data, std::streamsize size) override {
        ++writes;
        const bool faulty = writes == faultAt;
        if (faulty && fault == Fault::WriteThrows) throw std::runtime_error("write");
        if (faulty && fault == Fault::ShortWrite) size /= 2;
        log.append(data, static_cast<std::size_t>(size));
        return size;
    }
    int sync() override {
        ++syncs;
        log += '|';
        const bool faulty = syncs == faultAt;
        if (faulty && fault == Fault::SyncThrows) throw std::runtime_error("sync");
        return faulty && fault == Fault::SyncFails ? -1 : 0;
    }
};

// Each line is handed to the stream as write and flush (std::endl) do: the same calls of the stream
// buffer, the same state afterwards and the same exception, whatever the buffer and the stream's
// settings. The reference writes the expected lines with the stream's own write and flush.
TEST(WriterTest, EachLineIsWrittenAndFlushedAsTheStreamsOwnCallsDo) {
    using Fault = ScriptedBuffer::Fault;
    const std::ios_base::iostate bad = std::ios_base::badbit;
    const std::ios_base::iostate fail = std::ios_base::failbit;
    const std::ios_base::iostate none = std::ios_base::goodbit;
    const struct {
        const char* name;
        Fault fault;
        std::ios_base::iostate mask;  // the stream's exception mask
        bool tied;                    // tied to another stream, which each sentry flushes
        bool unitBuffered;
        std::ios_base::iostate before;  // the state the stream starts in
        std::ios_base::iostate after;
        const char* thrown;  // "failure", the buffer's own "write" or "sync", or ""
    } cases[] = {
        {"good", Fault::None, none, false, false, none, none, ""},
        {"short write", Fault::ShortWrite, none, false, false, none, bad | fail, ""},
        {"short write, badbit raises", Fault::ShortWrite, bad, false, false, none, bad, "failure"},
        {"failing sync", Fault::SyncFails, none, false, false, none, bad | fail, ""},
        {"failing sync, failbit raises", Fault::SyncFails, fail, false, false, none, bad | fail, "failure"},
        {"throwing write", Fault::WriteThrows, none, false, false, none, bad | fail, ""},
        {"throwing write, badbit raises", Fault::WriteThrows, bad, false, false, none, bad, "write"},
        {"throwing write, failbit raises", Fault::WriteThrows, fail, false, false, none, bad | fail, "failure"},
        {"throwing sync", Fault::SyncThrows, none, false, false, none, bad | fail, ""},
        {"throwing sync, badbit raises", Fault::SyncThrows, bad, false, false, none, bad, "sync"},
        {"tied", Fault::None, none, true, false, none, none, ""},
        {"tied, failing sync", Fault::SyncFails, none, true, false, none, bad | fail, ""},
        {"unit-buffered", Fault::None, none, false, true, none, none, ""},
        {"unit-buffered, failing sync", Fault::SyncFails, none, false, true, none, bad | fail, ""},
        {"failed before", Fault::None, none, false, false, fail, fail, ""},
        {"at end of file before", Fault::None, none, false, false, std::ios_base::eofbit, std::ios_base::eofbit, ""},
    };
    KpXmlTree tree("r");
    tree.getRoot()->createChild("a")->setData("x");
    tree.getRoot()->createChild("b");
    const std::string lines[] = {"<?xml version=\"1.0\"?>\n", "<r>\n", "<a>x</a>\n", "<b />\n", "</r>\n"};

    struct Outcome {
        std::string log;
        std::ios_base::iostate state;
        std::string thrown;
        int tieSyncs;
    };
    for (const auto& c : cases) {
        const auto run = [&](const std::function<void(std::ostream&)>& write) {
            ScriptedBuffer buffer;
            buffer.fault = c.fault;
            ScriptedBuffer tieBuffer;
            std::ostream tie(&tieBuffer);
            std::ostream out(&buffer);
            if (c.tied) out.tie(&tie);
            if (c.unitBuffered) out.setf(std::ios_base::unitbuf);
            out.setstate(c.before);
            out.exceptions(c.mask);
            std::string thrown;
            try {
                write(out);
            } catch (const std::ios_base::failure&) {
                thrown = "failure";
            } catch (const std::runtime_error& error) {
                thrown = error.what();
            }
            return Outcome{buffer.log, out.rdstate(), thrown, tieBuffer.syncs};
        };
        const Outcome ours = run([&](std::ostream& out) { tree.putToStream(out, true); });
        const Outcome reference = run([&](std::ostream& out) {
            for (const std::string& line : lines) out.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
        });
        EXPECT_EQ(ours.log, reference.log) << c.name;
        EXPECT_EQ(ours.state, c.after) << c.name;
        EXPECT_EQ(ours.state, reference.state) << c.name;
        EXPECT_EQ(ours.thrown, c.thrown) << c.name;
        EXPECT_EQ(ours.thrown, reference.thrown) << c.name;
        EXPECT_EQ(ours.tieSyncs, reference.tieSyncs) << c.name;
    }
}

// (RoundTripTest writes a node a million levels down with the indentation of its depth.)
TEST(WriterTest, PutNodeEndsTheDepthCountAtACycleOfParents) {
    KpXmlTree tree("r");
    tree.setIndent("  ");
    KpXmlData self("s");
    self.setParent(&self);
    std::ostringstream cycle;
    tree.putNode(cycle, &self);
    const std::string text = cycle.str();
    EXPECT_EQ(text.substr(text.find_first_not_of(' ')), "<s />\n");
}

TEST(WriterTest, SetIndentAcceptsEmptyOneTabOrSpacesOnly) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""}, {"\t", "\t"}, {"   ", "   "}, {"\t\t", "  "}, {" \t", "  "}, {"x", "  "},
    };
    for (const auto& [unit, kept] : cases) {
        KpXmlTree tree("r");
        tree.getRoot()->createChild("c");
        tree.setIndent("  ");
        tree.setIndent(unit);
        EXPECT_EQ(written(tree), "<r>\n" + std::string(kept) + "<c />\n</r>\n") << '"' << unit << '"';
    }
}

TEST(WriterTest, Escaping) {
    const struct {
        const char* input;
        const char* asText;   // element text and attribute names: '=' escaped
        const char* asValue;  // attribute values: '=' kept
    } cases[] = {
        {"a=b", "a&#61;b", "a=b"},
        {"a\nb", "a&#x000a;b", "a&#x000a;b"},
        {"\"'&<>", "&quot;&apos;&amp;&lt;&gt;", "&quot;&apos;&amp;&lt;&gt;"},
        {"\t\r\x01\x7f", "&#9;&#13;&#1;&#127;", "&#9;&#13;&#1;&#127;"},
        {"!#$%()*;?@[\\]^`{|}~", "&#33;&#35;&#36;&#37;&#40;&#41;&#42;&#59;&#63;&#64;&#91;&#92;&#93;&#94;&#96;&#123;&#124;&#125;&#126;",
         "&#33;&#35;&#36;&#37;&#40;&#41;&#42;&#59;&#63;&#64;&#91;&#92;&#93;&#94;&#96;&#123;&#124;&#125;&#126;"},
        {"\x80", "&#8364;", "&#8364;"},
        {"\xE4", "&#228;", "&#228;"},
        {"\xC3\xA4", "&#195;&#164;", "&#195;&#164;"},
        {"Az 09+,-./:_", "Az 09+,-./:_", "Az 09+,-./:_"},
    };
    for (const auto& c : cases) {
        KpXmlTree tree("r");
        tree.getRoot()->setData(c.input);
        tree.getRoot()->setAttribute("v", std::string(c.input));
        tree.getRoot()->setAttribute(c.input, std::string("1"));
        EXPECT_EQ(written(tree), std::string("<r v=\"") + c.asValue + "\" " + c.asText + "=\"1\">" + c.asText + "</r>\n")
            << c.input;
    }
}

TEST(WriterTest, EntityFlagClearWritesRawBytes) {
    const std::string raw = "a<b\"&\n'=!\xE4";
    KpXmlTree tree("r");
    KpXmlData* root = tree.getRoot();
    root->setAttribute("raw", raw, false);
    root->setAttribute("n!", std::string("\"<"), false);
    root->setAttribute("esc", std::string("\"<"), true);
    root->setData(raw);
    root->setEntityFlag(false);
    EXPECT_EQ(written(tree), "<r raw=\"" + raw + "\" n&#33;=\"\"<\" esc=\"&quot;&lt;\">" + raw + "</r>\n");
}

TEST(RoundTripTest, MillionLevelsWrittenParsedAndDestroyed) {
    constexpr std::size_t depth = 1000000;
    const std::string bottom = "<e at=\"end\">bottom</e>\n";
    std::string expected;
    std::string closing;
    std::string text;
    {
        KpXmlTree tree("e");
        KpXmlData* node = tree.getRoot();
        for (std::size_t level = 1; level < depth; ++level) {
            node = node->createChild("e");
            expected += "<e>\n";
            closing += "</e>\n";
        }
        node->setData("bottom");
        node->setAttribute("at", std::string("end"));
        text = written(tree);
        // The depth of an inner node is counted through all its ancestors.
        tree.setIndent("\t");
        std::ostringstream inner;
        tree.putNode(inner, node);
        EXPECT_EQ(inner.str(), std::string(depth - 1, '\t') + bottom);
    }
    ASSERT_TRUE(text == expected + bottom + closing);  // (not EXPECT_EQ, which would print both texts)

    std::istringstream in(text);
    const KpXmlTree back(in);
    EXPECT_TRUE(written(back) == text);
    EXPECT_EQ(back.findRoot("missing", true), nullptr);  // a search through every level
}  // a recursive destructor would overflow a 1 MB (Windows) or 8 MB stack here

}  // namespace
