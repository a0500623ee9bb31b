// The exchange wrapper: forwarding to its document, and who owns the document.
#include <gtest/gtest.h>

#include "kpxml/KpExchangeXml.h"

namespace {

// Counts destroyed documents.
struct CountedTree : KpXmlTree {
    CountedTree(const std::string& name, int* counter) : KpXmlTree(name), destroyed(counter) {}
    ~CountedTree() override { ++*destroyed; }
    int* destroyed;
};

// Reaches the protected document access, as the classes built on the wrapper do.
struct Exchange : KpExchangeXml {
    using KpExchangeXml::KpExchangeXml;
    using KpExchangeXml::getTree;
    using KpExchangeXml::setTree;
};

}  // namespace

TEST(ExchangeTest, OpenCloseAndFlushForwardToTheDocument) {
    Exchange exchange("project");
    KpXmlTree* tree = exchange.getTree();
    ASSERT_NE(tree, nullptr);
    exchange.open("project");  // selects the root
    EXPECT_EQ(tree->getCurrentNode(), tree->getRoot());
    exchange.open("part");
    exchange.open("part");  // a child of the first part: open does not append siblings
    EXPECT_EQ(tree->getCurrentNode()->getParent()->getName(), "part");
    exchange.close();
    exchange.close();
    exchange.flush();  // at the root: its children go
    EXPECT_TRUE(tree->getRoot()->getChildren().empty());
    EXPECT_EQ(tree->getName(), "project");
}

TEST(ExchangeTest, TheHeldDocumentIsDestroyedWithTheWrapperButNotWhenReplaced) {
    int destroyed = 0;
    auto* first = new CountedTree("a", &destroyed);
    auto* second = new CountedTree("b", &destroyed);
    {
        Exchange exchange;
        exchange.setTree(first);
        exchange.setTree(second);  // the first stays alive and is the caller's again
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);  // the second went with the wrapper
    delete first;
    EXPECT_EQ(destroyed, 2);
}
