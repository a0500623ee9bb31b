// Deleting a tree when memory runs out: the list of nodes still to delete cannot grow, at any
// point, and the subtree goes leaf by leaf instead. Every node is deleted exactly once (the node
// pool's count of slots in use comes back to where it was; the sanitizer build also sees a
// double deletion). This program replaces the global operator new, so it runs apart from the
// other tests.

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

TEST(DeletionFailureTest, EveryNodeIsDeletedOnceWhereverTheListOfPendingNodesFailsToGrow) {
    const std::size_t inUse = KpXml::detail::nodePool().bytesInUse();
    long failures = 0;
    for (long allowed = 0;; ++allowed) {
        KpXmlData* root = bushyTree(4);  // 121 nodes
        ASSERT_EQ(KpXml::detail::nodePool().bytesInUse(), inUse + 121 * sizeof(KpXmlData));
        allocationsLeft = allowed;
        delete root;
        const bool failed = allocationsLeft == 0;
        allocationsLeft = -1;
        EXPECT_EQ(KpXml::detail::nodePool().bytesInUse(), inUse) << "allowed " << allowed;
        if (!failed) break;
        ++failures;
    }
    EXPECT_GT(failures, 2);  // failures at the list's first growth and at later ones, in mid-node
}

}  // namespace
