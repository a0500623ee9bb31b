// Deleting a subtree without recursion still deletes every node once. (RoundTripTest searches,
// writes, reads and deletes a tree far deeper than any call stack.)

#include "kpxml/KpXmlData.h"

#include <gtest/gtest.h>

namespace {

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
