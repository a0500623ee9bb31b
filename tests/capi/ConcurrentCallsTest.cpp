// The C interface called from several threads at once: on trees of their own, on one shared tree
// and on the global document, while another thread builds and destroys trees of its own in C++.
// Under ThreadSanitizer (the tsan preset) every unguarded access shows up as a data race.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <kpxml/KpXml.h>
#include <kpxml/KpXmlApi.h>

#include "TestSupport.h"

namespace {

constexpr int workerCount = 4;
constexpr int rounds = 300;
constexpr int sharedChildren = 100;  // enough for searches to index them by name

// Runs work(0), work(1) ... work(count - 1) on threads of their own and waits for all of them.
void onThreads(int count, const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
}

std::string tagName(int tag) {
    char buffer[32] = "unchanged";
    int length = 0;
    XML_Get_Tag_Name(tag, buffer, sizeof buffer, &length);
    return buffer;
}

std::string numbered(const char* prefix, int number) {
    return prefix + std::to_string(number);
}

TEST(ConcurrentCalls, ThreadsOnOwnTreesOnASharedTreeAndOnTheGlobalDocument) {
    // Trees are registered before the threads start: a deletion would let a later registration
    // take over another thread's entry.
    std::vector<int> trees;
    for (int i = 0; i <= workerCount; ++i) trees.push_back(XML_Get_Tree(numbered("concurrent", i).c_str()));
    const int shared = XML_Create_Root_Tag(trees.back(), "shared");
    std::vector<int> sharedHandles;
    for (int i = 0; i < sharedChildren; ++i) {
        sharedHandles.push_back(XML_Add_Child_Tag(shared, numbered("s", i).c_str()));
        XML_Set_Int(sharedHandles.back(), i);
    }
    XML_Open("g");

    const auto worker = [&](int w) {
        const int root = XML_Create_Root_Tag(trees[static_cast<std::size_t>(w)], "own");
        for (int i = 0; i < rounds; ++i) {
            const std::string name = numbered("c", i);
            const int child = XML_Add_Child_Tag(root, name.c_str());
            XML_Set_Attribute_Int(child, "i", i);
            EXPECT_EQ(XML_Find_Child_Tag(root, name.c_str()), child);
            EXPECT_EQ(XML_Find_Child_Tag(root, name.c_str()), child);
            if (i % 2 == 0) XML_Delete_Child_Tag(root, name.c_str());
            EXPECT_EQ(tagName(child), i % 2 == 0 ? "" : name);

            const int kept = sharedChildren / 2 + i % (sharedChildren / 2);  // the second half stays
            const int found = XML_Find_Child_Tag(shared, numbered("s", kept).c_str());
            EXPECT_EQ(found, sharedHandles[static_cast<std::size_t>(kept)]);
            EXPECT_EQ(XML_Get_Int(found), kept);
            XML_Add_Child_Tag(shared, numbered("w", w).c_str());

            EXPECT_EQ((std::vector<int>{XML_Open("t"), XML_SetInt(i), XML_Close()}), std::vector<int>(3, 1));
        }
        EXPECT_EQ(XML_Get_Number_Of_Children(root), rounds / 2);
        EXPECT_EQ(XML_Get_Attribute_Int(XML_Find_Child_Tag(root, "c1"), "i"), 1);
    };
    const auto deleter = [&] {  // the first half of the shared children, while they are searched
        for (int i = 0; i < sharedChildren / 2; ++i) XML_Delete_Child_Tag(shared, numbered("s", i).c_str());
    };
    const auto ownTrees = [] {  // nodes destroyed outside any C call, while handles are in use
        for (int i = 0; i < rounds; ++i) {
            KpXmlData root("private");
            for (int j = 0; j < 50; ++j) root.createChild(numbered("p", j));
            EXPECT_EQ(root.findChild("p49")->getName(), "p49");
        }
    };
    onThreads(workerCount + 2, [&](int i) { i < workerCount ? worker(i) : i == workerCount ? deleter() : ownTrees(); });

    EXPECT_EQ(XML_Get_Number_Of_Children(shared), sharedChildren / 2 + workerCount * rounds);
    EXPECT_EQ(tagName(sharedHandles[0]), "");
    EXPECT_EQ(tagName(sharedHandles[sharedChildren / 2]), numbered("s", sharedChildren / 2));
    // Every thread's opens and closes took turns whole: the global document is back at its root,
    // with one element t for each open.
    const std::string path = KpXml::test::temporaryPath("concurrent.xml");
    ASSERT_EQ(XML_SetText("end"), 1);
    ASSERT_EQ(XML_WriteFile(path.c_str()), 1);
    const std::string written = KpXml::test::readBytes(path);
    std::remove(path.c_str());
    std::size_t elements = 0;
    for (std::size_t at = written.find("<t"); at != std::string::npos; at = written.find("<t", at + 1)) ++elements;
    EXPECT_EQ(elements, static_cast<std::size_t>(workerCount * rounds));
    EXPECT_EQ(written.substr(0, 33), "<?xml version=\"1.0\"?>\r\n<g>\r\nend<t");
    XML_Stop();
    for (auto tree = trees.rbegin(); tree != trees.rend(); ++tree) XML_Delete_Tree(*tree);
}

}  // namespace
