// Tests of the document: the root, the current node moved by open and close, shared copies, the
// editing calls that act through the current node, the exchange wrapper's ownership, and writing.

#include "kpxml/KpExchangeXml.h"
#include "kpxml/KpXmlTree.h"

#include <gtest/gtest.h>

#include "TestSupport.h"

#include <cstddef>
#include <sstream>
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
