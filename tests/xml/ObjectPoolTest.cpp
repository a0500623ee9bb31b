// The node pool's paths that a single-threaded tree never takes: slots released on another thread
// than the one that took them, and nodes of a derived class too large for a slot.

#include "xml/ObjectPool.h"

#include "kpxml/KpXmlData.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(ObjectPoolTest, SlotsReleasedOnAnotherThreadAreReusedByTheFirst) {
    std::vector<KpXmlData*> nodes(4096);
    for (KpXmlData*& node : nodes) node = new KpXmlData("n");
    std::thread([&nodes] {
        for (KpXmlData* node : nodes) delete node;
    }).join();
    // The other thread kept at most two batches (of 256 slots) of free slots and passed on the rest,
    // so taking half of them again here needs no new memory.
    const std::size_t reserved = KpXml::detail::nodePool().bytesReserved();
    std::vector<KpXmlData*> again(2048);
    for (KpXmlData*& node : again) node = new KpXmlData("again");
    EXPECT_EQ(KpXml::detail::nodePool().bytesReserved(), reserved);
    for (const KpXmlData* node : again) {
        EXPECT_EQ(node->getName(), "again");
        delete node;
    }
}

// A node with more state than a slot holds.
struct LargeNode : KpXmlData {
    explicit LargeNode(int* counter) : KpXmlData("large"), destroyed(counter) { std::memset(payload, 0x5A, sizeof payload); }
    ~LargeNode() override { ++*destroyed; }
    int* destroyed;
    unsigned char payload[1000];
};

TEST(ObjectPoolTest, NodesLargerThanASlotLiveOnTheHeap) {
    ASSERT_GT(sizeof(LargeNode), KpXml::detail::nodePool().slotSize);
    const std::size_t inUse = KpXml::detail::nodePool().bytesInUse();
    int destroyed = 0;
    auto* root = new LargeNode(&destroyed);
    auto* child = new LargeNode(&destroyed);
    root->addChild(child);
    EXPECT_EQ(KpXml::detail::nodePool().bytesInUse(), inUse);
    EXPECT_EQ(child->payload[sizeof child->payload - 1], 0x5A);
    delete root;  // deletes the child through the base class
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(KpXml::detail::nodePool().bytesInUse(), inUse);
}

}  // namespace
