// Tests of the element node's tree: children and attributes, the searches and the deletions.

#include "kpxml/KpXmlData.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using Nodes = std::vector<KpXmlData*>;

TEST(NodeTreeTest, ChildrenAreAppendedAndOpenChildReusesTheFirstMatch) {
    KpXmlData root("r");
    KpXmlData* a = new KpXmlData("a", &root);
    EXPECT_EQ(a->getParent(), &root);
    EXPECT_TRUE(a->getEntityFlag());
    EXPECT_TRUE(root.getChildren().empty());  // not attached
    root.addChild(a);
    KpXmlData* b = root.createChild("b");
    EXPECT_EQ(root.openChild("a", false), a);
    KpXmlData* c = root.openChild("c", false);
    KpXmlData* a2 = root.openChild("a", true);
    EXPECT_EQ(root.getChildren(), (Nodes{a, b, c, a2}));
    for (const KpXmlData* child : root.getChildren()) EXPECT_EQ(child->getParent(), &root);
}

TEST(NodeTreeTest, FindTreeSearchesSelfThenChildrenThenEachSubtreeInOrder) {
    // 0 r -+- 1 a -+- 5 c -+- 7 x    depth 3 under the first child
    //      |       |       +- 8 d
    //      |       +- 6 d
    //      +- 2 b -+- 9 x            depth 2 under the second child
    //      |       +- 10 c
    //      +- 3 a --- 11 y
    //      +- 4 r                    named like the node itself
    const std::pair<int, const char*> layout[] = {{0, "a"}, {0, "b"}, {0, "a"}, {0, "r"}, {1, "c"}, {1, "d"},
                                                  {5, "x"}, {5, "d"}, {2, "x"}, {2, "c"}, {3, "y"}};
    KpXmlData root("r");
    Nodes nodes{&root};
    for (const auto& [parent, name] : layout) nodes.push_back(nodes[parent]->createChild(name));
    const struct { const char* name; bool deep; int found; } cases[] = {  // found: index, or -1 for none
        {"r", false, 0}, {"a", false, 1}, {"x", false, -1}, {"c", true, 5},  {"d", true, 6},
        {"x", true, 7},  {"y", true, 11}, {"z", true, -1},  {"R", true, -1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(root.findTree(c.name, c.deep), c.found < 0 ? nullptr : nodes[c.found]) << c.name << c.deep;
    }
    EXPECT_EQ(KpXmlData().findTree("", true), nullptr);  // an empty name matches nothing, not even itself
}

TEST(NodeTreeTest, LookupsAndRemovalsTakeTheFirstMatchAndSkipNullEntries) {
    KpXmlData root("r");
    root.addChild(nullptr);
    KpXmlData* q = root.createChild("q");
    KpXmlData* p1 = root.createChild("p");
    KpXmlData* p2 = root.createChild("p");  // no attribute
    KpXmlData* p3 = root.createChild("p");
    q->setAttribute("id", "2");
    p1->setAttribute("id", "2.0000001");
    p3->setAttribute("id", "2");
    EXPECT_EQ(root.findTree("zz", true), nullptr);
    EXPECT_EQ(root.findChildToAttribute("p", "id", 2.0, 1e-3), p1);
    EXPECT_EQ(root.findChildToAttribute("p", "id", 2.0, 1e-9), p3);
    EXPECT_EQ(root.findChildToAttribute("p", "id", std::string("2")), p3);
    EXPECT_EQ(root.findChildToAttribute("p", "id", 2), p1);
    root.remove("p");
    root.remove("P");
    EXPECT_EQ(root.getChildren(), (Nodes{nullptr, q, p2, p3}));

    root.getAttributes().push_back(nullptr);
    root.setAttribute("k", "1");
    root.setAttribute("m", "2");
    root.getAttributes().push_back(new KpXmlAttributeData("k", "3"));
    EXPECT_TRUE(root.removeAttribute("k"));
    EXPECT_FALSE(root.removeAttribute("K"));
    EXPECT_EQ(root.getAttributes().size(), 3u);
    EXPECT_EQ(root.getAttributeString("k"), "3");
    root.flush();
    EXPECT_TRUE(root.getChildren().empty());
    EXPECT_TRUE(root.getAttributes().empty());
}

TEST(NodeTreeTest, FlushAndInitClearOnlyTheirOwnParts) {
    KpXmlData node("n");
    int marker = 0;
    node.setData("text");
    node.setEntityFlag(false);
    node.setExpand(true);
    node.setPointer(&marker);
    node.createChild("c")->createChild("g");
    const auto state = [&] {
        return std::tuple(node.getData(), node.getEntityFlag(), node.getExpand(), node.getPointer(),
                          node.getChildren().size());
    };
    node.flush();
    EXPECT_EQ(state(), std::tuple("text", false, true, &marker, 0u));
    node.createChild("kept");
    node.init();
    EXPECT_EQ(state(), std::tuple("text", false, false, nullptr, 1u));
}

}  // namespace
