// A parse still works after the end of the thread it runs on: from the destructor of a
// thread_local object made before the thread's first parse, which runs after the library's own
// per-thread state has gone, and from the destructor of a static object, which runs after the
// main thread's. The parse builds the whole tree, and leaves nothing behind and uses nothing
// freed (the sanitizer build reports either). Which of a thread's thread_local objects is
// destroyed first differs between systems: only the tree the parse gives is asserted.

#include "kpxml/KpXmlTree.h"

#include <gtest/gtest.h>

#include "support/ParseComparison.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <thread>

namespace {

const char* const document = "<a x=\"1\"><b>t</b><c><d/></c>u</a>";
const char* const documentTree = "a[x=\"1\"]:\"u\"(b:\"t\" c(d))";

std::string parsedTree(const char* text) {
    std::istringstream in(text);
    const KpXmlTree tree(in);
    return KpXml::test::dump(tree.getRoot());
}

// Parses the document when destroyed, and stores the tree where it was told to.
struct ParseOnDestruction {
    std::string* result = nullptr;
    ~ParseOnDestruction() {
        if (result != nullptr) *result = parsedTree(document);
    }
};

// Made before main, so destroyed after the main thread's thread_local objects: a wrong tree
// there ends the process with a failure, after the tests have reported.
struct ParseAfterMain {
    ~ParseAfterMain() {
        const std::string tree = parsedTree(document);
        if (tree != documentTree) {
            std::fprintf(stderr, "parse after main: wrong tree\n%s", tree.c_str());
            std::_Exit(EXIT_FAILURE);
        }
    }
} parseAfterMain;

TEST(ThreadEndParseTest, TheDocumentReadHere) {
    EXPECT_EQ(parsedTree(document), documentTree);
}

TEST(ThreadEndParseTest, ParseInTheDestructorOfAThreadLocalMadeFirst) {
    const struct {
        const char* what;
        int parsesBefore;  // parses on the thread before it ends
    } cases[] = {
        {"no parse before: the thread's first parse comes at its end", 0},
        {"one parse before, whose stacks the thread keeps", 1},
        {"parses before, the last of which takes over the kept stacks", 3},
    };
    for (const auto& c : cases) {
        std::string atEnd;
        std::string before;
        std::thread([&] {
            thread_local ParseOnDestruction parser;
            parser.result = &atEnd;
            for (int i = 0; i < c.parsesBefore; ++i) before = parsedTree(document);
        }).join();
        EXPECT_EQ(atEnd, documentTree) << c.what;
        if (c.parsesBefore != 0) {
            EXPECT_EQ(before, documentTree) << c.what;
        }
    }
}

}  // namespace
