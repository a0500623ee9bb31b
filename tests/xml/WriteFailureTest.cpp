// Writing when memory runs out. Lines may reach a string stream several at a time; a write that
// stops with std::bad_alloc still leaves there every line finished before, as a write line by line
// would have. This program replaces the global operator new, so it runs apart from the other tests.

#include "kpxml/KpXmlTree.h"

#include <gtest/gtest.h>

#include "FailingAllocation.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <sstream>
#include <string>
#include <vector>

using KpXml::test::allocationsLeft;

namespace {

// A chain of 100 elements below the root: the writer's frames and line buffer grow on the way, each
// time right after a finished line.
TEST(WriteFailureTest, LinesFinishedBeforeMemoryRanOutReachTheStringStream) {
    KpXmlTree tree("r");
    KpXmlData* node = tree.getRoot();
    for (int below = 0; below < 100; ++below) node = node->createChild("c");
    std::ostringstream whole;
    tree.putToStream(whole, true);
    const std::string full = whole.str();
    const auto lineCount = [](const std::string& text) { return std::count(text.begin(), text.end(), '\n'); };

    // Lines held after each write that ran out of memory while its stream stayed good (when the
    // string itself cannot grow, the stream turns bad and the write goes on without output).
    std::vector<std::ptrdiff_t> held;
    for (long allowed = 0; allowed < 100000; ++allowed) {
        std::ostringstream out;
        bool ranOut = false;
        allocationsLeft = allowed;
        try {
            tree.putToStream(out, true);
        } catch (const std::bad_alloc&) {
            ranOut = true;
        }
        allocationsLeft = -1;
        const std::string text = out.str();
        EXPECT_EQ(full.compare(0, text.size(), text), 0) << allowed;
        if (!ranOut && out.good()) break;
        if (!ranOut || !out.good()) continue;
        ASSERT_FALSE(text.empty()) << allowed;  // the declaration goes first, on its own
        EXPECT_EQ(text.back(), '\n') << allowed;
        held.push_back(lineCount(text));
    }
    ASSERT_FALSE(held.empty());
    EXPECT_TRUE(std::is_sorted(held.begin(), held.end()));
    EXPECT_EQ(held.front(), 1);                   // the declaration only
    // The line buffer, which doubles, last grows when it holds about half the lines (the frames
    // last grow after 65 start tags); without the hand-over on the way out only the declaration
    // would be there.
    EXPECT_GT(held.back(), lineCount(full) / 3);
}

}  // namespace
