// Trees far deeper than any call stack could follow: searching and deleting them must not recurse.

#include "kpxml/KpXmlData.h"

#include <gtest/gtest.h>

namespace {

TEST(DeepTree, AMillionLevelChainIsSearchedAndDestroyedWithoutRecursion) {
    auto* root = new KpXmlData("root");
    KpXmlData* node = root;
    for (int depth = 1; depth < 1000000; ++depth) node = node->createChild("n");
    const KpXmlData* leaf = node->createChild("leaf");
    EXPECT_EQ(root->findTree("leaf", true), leaf);
    delete root;  // a recursive destructor would overflow a 1 MB (Windows) or 8 MB stack here
}

// Counts its own destruction, to see that every node of a subtree is deleted exactly once.
struct CountingNode : KpXmlData {
    explicit CountingNode(int* counter) : destroyed(counter) {}
    ~CountingNode() override { ++*destroyed; }
    int* destroyed;
};

TEST(DeepTree, EveryNodeIsDeletedOnceEvenWhenDestructorsAreOverridden) {
    int destroyed = 0;
    auto* root = new KpXmlData("root");
    KpXmlData* level = root;
    for (int depth = 0; depth < 1000; ++depth) {  // two counted children a level; the second goes deeper
        auto* next = new CountingNode(&destroyed);
        level->addChild(new CountingNode(&destroyed));
        level->addChild(next);
        level->addChild(nullptr);
        level = next;
    }
    delete root;
    EXPECT_EQ(destroyed, 2000);
}

}  // namespace
