// The element node: its children and attributes, the searches and deletions, the attribute
// record's comparisons, the node pool (blocks given back, threads that end, nodes of a derived
// class too large for a slot), and the C interface's index of children by name.

#include "capi/Registries.h"
#include "xml/ObjectPool.h"

#include "kpxml/KpXmlApi.h"
#include "kpxml/KpXmlAttributeData.h"
#include "kpxml/KpXmlData.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Nodes = std::vector<KpXmlData*>;
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double quietNaN = std::numeric_limits<double>::quiet_NaN();

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
    root.setExpand(true);
    root.flush();
    EXPECT_TRUE(root.getChildren().empty());
    EXPECT_TRUE(root.getAttributes().empty());
    EXPECT_TRUE(root.getExpand());
    root.init();  // clears the expand flag and the pointer
    EXPECT_FALSE(root.getExpand());
}

TEST(AttributeDataTest, TextComparisonTakesEveryByteAndNumbersWithToleranceAreStrict) {
    EXPECT_FALSE(KpXmlAttributeData("a", std::string("x\0y", 3)).checkValue(std::string("x")));
    const struct { const char* text; double value; double tolerance; bool expected; } cases[] = {
        {"1", 1.0, 0.0, false},    {"1.5", 1.0, 0.5, false},     {"1.5", 1.0, 0.5000001, true},
        {"-2", 2.0, 4.0, false},   {"-2", 2.0, 4.0000001, true}, {"1", 1.0, -1.0, false},
        {"nan", 0.0, infinity, false}, {"1", quietNaN, infinity, false},     {"inf", infinity, 1.0, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(KpXmlAttributeData("a", c.text).checkValue(c.value, c.tolerance), c.expected)
            << c.text << " vs " << c.value << " within " << c.tolerance;
    }
}

// A tree of count children under one root.
KpXmlData* wideTree(std::size_t count) {
    auto* root = new KpXmlData("r");
    for (std::size_t i = 0; i < count; ++i) root->createChild("c")->setAttribute("id", static_cast<int>(i));
    return root;
}

// A block goes back to the heap once all its slots are free, unless the thread where that
// happens keeps it for its next tree: it keeps up to keptBytesMax of such blocks, of both pools
// together, and gives them back when it ends. A thread keeps at most two blocks' worth of free
// slots besides, which the slots released last (of the last blocks) fill, and hands them back when
// it ends. The tree here needs more blocks than a thread keeps.
TEST(ObjectPoolTest, BlocksGoBackToTheHeapWhenTheTreeIsDestroyedOnThisThreadOrAnother) {
    using KpXml::detail::blockBytes;
    constexpr std::size_t count = 50000;
    const KpXml::detail::ObjectPool* pools[] = {&KpXml::detail::nodePool(), &KpXml::detail::attributePool()};
    ASSERT_GT(count * (pools[0]->slotSize + pools[1]->slotSize), KpXml::detail::keptBytesMax + 16 * blockBytes);
    const struct {
        bool acrossThreads;
        std::size_t kept;  // what the destroying thread may keep afterwards
    } cases[] = {{false, KpXml::detail::keptBytesMax}, {true, 0}};
    for (const auto& [acrossThreads, kept] : cases) {
        std::size_t before = 0;
        std::size_t inUse[2];
        for (int i = 0; i < 2; ++i) {
            before += pools[i]->bytesReserved();
            inUse[i] = pools[i]->bytesInUse();
        }
        KpXmlData* root = wideTree(count);
        for (int i = 0; i < 2; ++i) ASSERT_EQ(pools[i]->bytesInUse(), inUse[i] + (count + 1 - i) * pools[i]->slotSize);
        if (acrossThreads) {
            std::thread([root] { delete root; }).join();
        } else {
            delete root;
        }
        // What stays besides: the blocks of the slots in this thread's lists, which hold up to two
        // blocks' worth (slots released last, or left from the tree's making), and the root's block.
        EXPECT_LE(pools[0]->bytesReserved() + pools[1]->bytesReserved(), before + kept + 8 * blockBytes) << acrossThreads;
        for (int i = 0; i < 2; ++i) EXPECT_EQ(pools[i]->bytesInUse(), inUse[i]) << i << acrossThreads;
    }
}

// Slots go back to their blocks in runs of one block. Released block by block (long runs) or
// alternating between blocks (runs of one slot), with a tenth of each block's slots still in use,
// they are counted exactly and used again before any new block.
TEST(ObjectPoolTest, SlotsReleasedInAnyOrderOfTheirBlocksAreCountedAndUsedAgain) {
    const KpXml::detail::ObjectPool& pool = KpXml::detail::attributePool();
    const std::size_t blocks = 6;
    const std::size_t perBlock = pool.slotsPerBlock;
    for (const bool alternating : {false, true}) {
        const std::size_t inUse = pool.bytesInUse();
        std::vector<KpXmlAttributeData*> made(blocks * perBlock);
        for (KpXmlAttributeData*& attribute : made) attribute = new KpXmlAttributeData("a", "1");
        const std::size_t reserved = pool.bytesReserved();
        std::vector<KpXmlAttributeData*> released;
        std::vector<KpXmlAttributeData*> kept;
        for (std::size_t i = 0; i < made.size(); ++i) {
            // Alternating: the slots made a block's worth apart follow each other.
            const std::size_t index = alternating ? (i % blocks) * perBlock + i / blocks : i;
            (index % 10 == 0 ? kept : released).push_back(made[index]);
        }
        for (KpXmlAttributeData* attribute : released) delete attribute;
        EXPECT_EQ(pool.bytesInUse(), inUse + kept.size() * pool.slotSize) << alternating;

        for (KpXmlAttributeData*& attribute : released) attribute = new KpXmlAttributeData("b", "2");
        EXPECT_EQ(pool.bytesReserved(), reserved) << alternating;
        EXPECT_EQ(pool.bytesInUse(), inUse + made.size() * pool.slotSize) << alternating;
        for (KpXmlAttributeData* attribute : released) delete attribute;
        for (KpXmlAttributeData* attribute : kept) delete attribute;
        EXPECT_EQ(pool.bytesInUse(), inUse) << alternating;
    }
}

// Each short thread takes a block's free slots for its list and hands them back when it ends: a
// thousand of them leave nothing behind.
TEST(ObjectPoolTest, ShortThreadsHandTheirFreeSlotsBackWhenTheyEnd) {
    const std::size_t before = KpXml::detail::nodePool().bytesReserved();
    for (int i = 0; i < 1000; ++i) {
        std::thread([] { delete new KpXmlData("n"); }).join();
    }
    EXPECT_EQ(KpXml::detail::nodePool().bytesReserved(), before);

    // Threads that only release: made here, deleted there, one each.
    const std::size_t attributesBefore = KpXml::detail::attributePool().bytesReserved();
    std::vector<KpXmlAttributeData*> attributes(1000);
    for (KpXmlAttributeData*& attribute : attributes) attribute = new KpXmlAttributeData("a", "1");
    for (KpXmlAttributeData* attribute : attributes) std::thread([attribute] { delete attribute; }).join();
    // What stays is the block whose free slots this thread holds in its list.
    EXPECT_LE(KpXml::detail::attributePool().bytesReserved(), attributesBefore + KpXml::detail::blockBytes);
}

// A node with more state than a slot holds, which counts its own destruction.
struct LargeNode : KpXmlData {
    explicit LargeNode(int* counter) : KpXmlData("large"), destroyed(counter) { std::memset(payload, 0x5A, sizeof payload); }
    ~LargeNode() override { ++*destroyed; }
    int* destroyed;
    unsigned char payload[1000];
};

// Deleting a subtree goes without recursion (RoundTripTest deletes a million levels) and still
// deletes every node once, through the base class.
TEST(ObjectPoolTest, NodesLargerThanASlotLiveOnTheHeapAndADeepSubtreeIsDeletedOnce) {
    ASSERT_GT(sizeof(LargeNode), KpXml::detail::nodePool().slotSize);
    const std::size_t inUse = KpXml::detail::nodePool().bytesInUse();
    int destroyed = 0;
    auto* root = new LargeNode(&destroyed);
    KpXmlData* level = root;
    for (int depth = 0; depth < 1000; ++depth) {  // two children a level; the second goes deeper
        auto* next = new LargeNode(&destroyed);
        level->addChild(new LargeNode(&destroyed));
        level->addChild(next);
        level->addChild(nullptr);
        level = next;
    }
    EXPECT_EQ(KpXml::detail::nodePool().bytesInUse(), inUse);
    EXPECT_EQ(static_cast<LargeNode*>(level)->payload[999], 0x5A);
    delete root;
    EXPECT_EQ(destroyed, 2001);
    EXPECT_EQ(KpXml::detail::nodePool().bytesInUse(), inUse);
}

// A node of a derived class that empties itself in its destructor, as such a class may, and
// records what its lists still hold afterwards.
struct FlushingNode : KpXmlData {
    explicit FlushingNode(std::size_t* leftOver) : KpXmlData("flushing"), left(leftOver) {}
    ~FlushingNode() override {
        flush();
        *left = getChildren().size() + getAttributes().size();
    }
    std::size_t* left;
};

// A node that flushes itself while its tree is deleted hands its children to that deletion, which
// deletes each of them once, and is left with empty lists.
TEST(ObjectPoolTest, ANodeThatFlushesItselfWithinTheDeletionOfItsTreeLosesEachChildOnce) {
    const std::size_t inUse = KpXml::detail::nodePool().bytesInUse();
    const std::size_t attributesInUse = KpXml::detail::attributePool().bytesInUse();
    std::size_t left = 99;
    auto* root = new KpXmlData("r");
    auto* flushing = new FlushingNode(&left);
    root->createChild("a")->addChild(flushing);
    flushing->createChild("b")->createChild("c");
    flushing->createChild("d")->setAttribute("k", "1");
    flushing->setAttribute("k", "2");
    root->createChild("e");
    ASSERT_EQ(KpXml::detail::nodePool().bytesInUse(), inUse + 6 * sizeof(KpXmlData));  // the flushing node is on the heap
    delete root;
    EXPECT_EQ(left, 0u);
    EXPECT_EQ(KpXml::detail::nodePool().bytesInUse(), inUse);
    EXPECT_EQ(KpXml::detail::attributePool().bytesInUse(), attributesInUse);
}

// The C interface's index of a parent's children by name, with the parent's child list (handed out
// before the index is built) changed directly in C++ without a call on the parent in between: the
// index sees a child destroyed, the list's new length, or that the child it found has moved.
TEST(ChildNameIndex, SeesChangesMadeThroughAChildListHeldFromBefore) {
    const int tree = XML_Get_Tree("index");
    const int root = XML_Create_Root_Tag(tree, "r");
    for (int i = 0; i < 100; ++i) XML_Add_Child_Tag(root, ("c" + std::to_string(i)).c_str());
    const int second = XML_Add_Child_Tag(root, "c7");
    KpXmlData* const parent = KpXml::detail::capi::element(root);
    std::vector<KpXmlData*>& children = parent->getChildren();
    const auto found = [root](const char* name) { return KpXml::detail::capi::element(XML_Find_Child_Tag(root, name)); };
    ASSERT_EQ(XML_Find_Child_Tag(root, "c7"), root + 8);
    ASSERT_EQ(XML_Find_Child_Tag(root, "c7"), root + 8);  // the second search in a row builds the index
    delete children[7];
    children.erase(children.begin() + 7);
    EXPECT_EQ(XML_Find_Child_Tag(root, "c7"), second);
    EXPECT_EQ(XML_Find_Child_Tag(root, "c8"), root + 9);

    ASSERT_EQ(XML_Find_Child_Tag(root, "late"), -1);
    ASSERT_EQ(XML_Find_Child_Tag(root, "late"), -1);  // indexed, as not there
    KpXmlData* const late = new KpXmlData("late", parent);
    children.push_back(late);
    EXPECT_EQ(found("late"), late);

    ASSERT_EQ(found("c5"), children[5]);
    ASSERT_EQ(found("c5"), children[5]);  // indexed
    std::swap(children[5], children[6]);  // same length: the child found has moved
    EXPECT_EQ(found("c5"), children[6]);
    children[20]->setName("c5");  // a rename of a child: its parent counts it
    ASSERT_EQ(found("c5"), children[6]);
    ASSERT_EQ(found("c5"), children[6]);  // indexed again
    std::swap(children[6], children[20]);  // the first "c5" is now the renamed child
    EXPECT_EQ(found("c5"), children[6]);
    XML_Delete_Tree(tree);
}

}  // namespace
