// Tests of the document object: the root, the current node moved by open and close, shared copies,
// the editing calls that act through the current node, and the exchange wrapper's ownership.

#include "kpxml/KpExchangeXml.h"
#include "kpxml/KpXmlTree.h"

#include <gtest/gtest.h>

#include "TestSupport.h"

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
    EXPECT_EQ(tree.findRoot("deep", false), nullptr);
    EXPECT_EQ(tree.findRoot("deep", true)->getName(), "deep");

    tree.setCurrentNode(child);
    tree.setAttribute("d", 0.1);
    tree.setAttribute("f", 2.5, "%.2f");
    tree.setValue(1.5, "%g");
    tree.remove("gone");
    EXPECT_EQ(tree.findAttribute("f")->getData(), "2.50");
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

}  // namespace
