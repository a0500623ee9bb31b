// A parse still works at the end of the thread it runs on, before or after the library's own
// per-thread state there has gone: from the destructor of a thread_local object made before the
// thread's first parse, from the destructor of a thread key's value, and from the destructor of a
// static object, which runs after main. The parse builds the whole tree and uses nothing freed
// (the sanitizer build reports it). Where the program links the library's code in, it also leaves
// nothing behind: when the thread has ended, every block its parses took from the node pools has
// gone back. The same cases run through the shared library too (on Windows a DLL with its own
// copy of the threads library), where only the trees can be seen. In which order a thread's
// thread_local objects, its keys' values and the library's own state go differs between systems:
// the test asserts only the tree and what the thread leaves behind.

#include "kpxml/KpXmlTree.h"

#include <gtest/gtest.h>

#include "support/ParseComparison.h"
#include "support/PoolBytes.h"

#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
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

// Where the parse at a thread's end stores its tree; set by the test before the thread starts.
// Outside the objects whose destructors parse: such a destructor reads nothing of its own object,
// since a thread_local object's storage may be gone before its destructor runs.
std::string* treeAtThreadEnd = nullptr;

void parseAtThreadEnd(void* = nullptr) {
    *treeAtThreadEnd = parsedTree(document);
}

struct ParseOnDestruction {
    ~ParseOnDestruction() { parseAtThreadEnd(); }
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

pthread_key_t newParsingKey() {
    pthread_key_t key{};
    if (pthread_key_create(&key, &parseAtThreadEnd) != 0) std::abort();
    return key;
}

// Thread keys whose values' destructors parse: one made before the library's first parse, and
// one after it (made by the test, after a parse). Where the keys' destructors run in the order
// the keys were made, the first parses before the library's own end, the second after it. The
// first is made after the program's first use of its thread storage: where that storage is
// emulated through a thread key of its own, the first parses after the thread's thread_local
// variables have gone and before the library's end.
const pthread_key_t keyMadeFirst = [] {
    thread_local int storageUsed = 0;
    int* volatile used = &storageUsed;
    *used = 1;
    return newParsingKey();
}();

TEST(ThreadEndParseTest, ParseAtTheEndOfAThread) {
    ASSERT_EQ(parsedTree(document), documentTree);
    static const pthread_key_t keyMadeLast = newParsingKey();
    const struct {
        const char* what;
        const pthread_key_t* key;  // null: a thread_local object made before the thread's first parse
    } wheres[] = {
        {"thread_local", nullptr},
        {"key made first", &keyMadeFirst},
        {"key made last", &keyMadeLast},
    };
    const struct {
        const char* what;
        int count;  // parses on the thread before it ends
    } parsesBefore[] = {
        {"no parse before: the thread's first parse comes at its end", 0},
        {"one parse before, whose stacks the thread keeps", 1},
        {"parses before, the last of which takes over the kept stacks", 3},
    };
    for (const auto& where : wheres) {
        for (const auto& parses : parsesBefore) {
            std::string atEnd;
            std::string before;
            treeAtThreadEnd = &atEnd;
            const std::optional<std::size_t> reserved = KpXml::test::poolBytesReserved();
            std::thread([&] {
                if (where.key == nullptr) {
                    thread_local ParseOnDestruction parser;
                } else {
                    EXPECT_EQ(pthread_setspecific(*where.key, where.key), 0);
                }
                for (int i = 0; i < parses.count; ++i) before = parsedTree(document);
            }).join();
            EXPECT_EQ(atEnd, documentTree) << where.what << "; " << parses.what;
            if (parses.count != 0) {
                EXPECT_EQ(before, documentTree) << where.what << "; " << parses.what;
            }
            if (reserved) {
                EXPECT_EQ(KpXml::test::poolBytesReserved(), reserved) << where.what << "; " << parses.what;
            }
        }
    }
}

}  // namespace
