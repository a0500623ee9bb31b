// Deleting a tree when memory has run out: the deletion needs none (a destructor that asked for
// memory and failed would end the program), and every node is deleted exactly once (the node
// pool's count of slots in use comes back to where it was; the sanitizer build also sees a double
// deletion). This program replaces the global operator new, so it runs apart from the other
// tests.

#include "kpxml/KpXmlData.h"
#include "xml/ObjectPool.h"

#include <gtest/gtest.h>

#include "FailingAllocation.h"

#include <vector>

using KpXml::test::allocationsLeft;

namespace {

// A root with three children, each with three, down to depth levels below the root.
KpXmlData* bushyTree(int depth) {
    auto* root = new KpXmlData("r");
    std::vector<KpXmlData*> level{root};
    for (int below = 0; below < depth; ++below) {
        std::vector<KpXmlData*> next;
        for (KpXmlData* node : level) {
            for (int i = 0; i < 3; ++i) next.push_back(node->createChild("c"));
        }
        level.swap(next);
    }
    return root;
}

// A chain of depth elements below the root.
KpXmlData* deepTree(int depth) {
    auto* root = new KpXmlData("r");
    KpXmlData* node = root;
    for (int below = 0; below < depth; ++below) node = node->createChild("c");
    return root;
}

TEST(DeletionFailureTest, EveryNodeIsDeletedOnceWithNoMemoryLeft) {
    const struct {
        const char* shape;
        KpXmlData* (*make)(int);
        int depth;
        std::size_t nodes;
    } cases[] = {{"bushy", &bushyTree, 4, 121}, {"deep", &deepTree, 10000, 10001}};
    const std::size_t inUse = KpXml::detail::nodePool().bytesInUse();
    for (const auto& [shape, make, depth, nodes] : cases) {
        KpXmlData* root = make(depth);
        ASSERT_EQ(KpXml::detail::nodePool().bytesInUse(), inUse + nodes * sizeof(KpXmlData)) << shape;
        allocationsLeft = 0;
        delete root;
        allocationsLeft = -1;
        EXPECT_EQ(KpXml::detail::nodePool().bytesInUse(), inUse) << shape;
    }
}

}  // namespace
