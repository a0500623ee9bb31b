// The C interface (and at the end the classes) through the shipped shared library. Handles are
// process-wide: expected handles are computed from handles obtained in the same test, and every test
// deletes the documents it registers, newest first, so that the tree registry keeps no gaps.
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <kpxml/KpXml.h>
#include <kpxml/KpXmlApi.h>

#include "TestSupport.h"

namespace {

using CopyCall = std::function<void(char*, size_t, int*)>;
const std::string declaration = "<?xml version=\"1.0\"?>\r\n";
using KpXml::test::countInvalidParameter;
using KpXml::test::readBytes;
int& handlerCalls = KpXml::test::invalidParameterCalls;

// What copy leaves in a buffer of 64 bytes that held "unchanged".
std::string copied(const CopyCall& copy) {
    char buffer[64] = "unchanged";
    int length = -1;
    copy(buffer, sizeof buffer, &length);
    return buffer;
}
std::string tagName(int tag) { return copied([=](char* b, size_t s, int* l) { XML_Get_Tag_Name(tag, b, s, l); }); }
std::string text(int tag) { return copied([=](char* b, size_t s, int* l) { XML_Get_Text(tag, b, s, l); }); }
std::string globalText() { return copied([](char* b, size_t s, int* l) { XML_GetText(b, s, l); }); }

class CInterface : public ::testing::Test {
protected:
    void SetUp() override {
        previous = KpXml_SetInvalidParameterHandler(&countInvalidParameter);
        handlerCalls = 0;
    }
    void TearDown() override {
        XML_Delete_Tree(tree);
        XML_Stop();
        KpXml_SetInvalidParameterHandler(previous);
        for (const std::string& path : files) std::remove(path.c_str());
    }
    // A name unique to this test: of a document, or (with the process id) of a temporary file.
    std::string unique(const std::string& suffix) const {
        return ::testing::UnitTest::GetInstance()->current_test_info()->name() + ("_" + suffix);
    }
    std::string file(const std::string& suffix) { return files.emplace_back(KpXml::test::temporaryPath(unique(suffix))); }
    std::string written() {
        XML_Write_Tree(tree, file("tree.xml").c_str());
        return readBytes(files.back());
    }
    std::string writtenGlobal() {
        return XML_WriteFile(file("global.xml").c_str()) == 1 ? readBytes(files.back()) : "(not written)";
    }
    // The root of xml read into the test's document (deleted at the end); opens a global document.
    int rootOf(const std::string& xml, const char* globalRoot = nullptr) {
        KpXml::test::writeBytes(file("input.xml"), xml);
        if (globalRoot != nullptr) XML_Open(globalRoot);
        tree = XML_Get_Tree(unique("tree").c_str());
        XML_Read_Tree(tree, files.back().c_str());
        return XML_Get_Root_Tag(tree);
    }
    int tree = -1;
    KpXmlInvalidParameterHandler previous = nullptr;
    std::vector<std::string> files;
};

TEST_F(CInterface, TreeHandlesCountOnFindTheFirstOfANameAndTakeOverAnEntryAfterADeletion) {
    const int unnamed = XML_Get_Tree(nullptr);
    EXPECT_EQ(unnamed, 1);  // the tests before deleted their documents
    EXPECT_EQ(XML_Get_Tree(""), unnamed);
    const int h = XML_Get_Tree(unique("a").c_str());
    ASSERT_EQ(XML_Get_Tree(unique("b").c_str()), h + 1);
    ASSERT_EQ(XML_Get_Tree(unique("c").c_str()), h + 2);
    const int rootOfC = XML_Create_Root_Tag(h + 2, "rootOfC");
    XML_Delete_Tree(h);
    EXPECT_EQ(XML_Get_Tree(unique("d").c_str()), h + 2);  // the entry count plus one: c's entry
    EXPECT_EQ(XML_Get_Root_Tag(h + 2), -1);                // an empty document named d
    EXPECT_EQ(XML_Get_Tree(unique("d").c_str()), h + 2);
    EXPECT_EQ(tagName(rootOfC), "rootOfC");               // c's former root lives on
    EXPECT_EQ(XML_Get_Tree(unique("c").c_str()), h + 2);  // c is not found and registers again
    EXPECT_EQ(XML_Get_Tree(unique("b").c_str()), h + 1);
    for (const int t : {h + 2, h + 1, unnamed}) XML_Delete_Tree(t);
}

TEST_F(CInterface, TagHandlesCountOnAreNeverReusedAndFoundNodesKeepTheirFirstHandle) {
    const int root = rootOf("<r><x/><y/><x id=\"2\"/></r>");
    EXPECT_EQ(XML_Find_Child_Tag(root, "x"), root + 1);
    EXPECT_EQ(XML_Find_Child_Tag(root, "x"), root + 1);  // and no new handle is used up
    // XML_Get_Children zero-fills the whole capacity, then writes at most capacity handles.
    struct Case { int parent; int capacity; std::vector<int> expected; };
    for (const Case& c : {Case{root, 4, {root + 1, root + 2, root + 3, 0}}, Case{root, 1, {root + 1, 9, 9, 9}},
                          Case{root, 0, {9, 9, 9, 9}}, Case{root, -1, {9, 9, 9, 9}}, Case{INT_MAX, 3, {0, 0, 0, 9}}}) {
        std::vector<int> handles(4, 9);
        XML_Get_Children(c.parent, handles.data(), c.capacity);
        EXPECT_EQ(handles, c.expected) << "capacity " << c.capacity;
    }
    EXPECT_EQ((std::vector<int>{XML_Find_Child_To_Attribute(root, "x", "id", "2"),
                                XML_Find_Child_To_Int_Attribute(root, "x", "id", 2),
                                XML_Find_Child_To_Real_Attribute(root, "x", "id", 2.25, 0.5)}),
              std::vector<int>(3, root + 3));
    EXPECT_EQ(XML_Add_Child_Tag(root, "x"), root + 4);  // duplicates are allowed
    XML_Delete_Child_Tag(root, "x");                    // the first one
    EXPECT_EQ(tagName(root + 1), "");
    EXPECT_EQ(written(), declaration + "<r>\r\n<y />\r\n<x id=\"2\" />\r\n<x />\r\n</r>\r\n");
    EXPECT_EQ(XML_Create_Root_Tag(tree, "second"), root + 5);
    EXPECT_EQ(XML_Get_Root_Tag(tree), root + 5);
    EXPECT_EQ(written(), declaration + "<second />\r\n");
}

// Every function answers for tag as for a handle never issued, although the tree below gives its
// "n" elements text 5, attribute k=1 and a child "c", and a node made later may be at the same address.
void expectUnknown(int tag) {
    SCOPED_TRACE("tag " + std::to_string(tag));
    EXPECT_EQ(XML_Find_Child_Tag(tag, "c"), -1);
    EXPECT_EQ(XML_Get_Number_Of_Children(tag), 0);
    EXPECT_EQ(XML_Get_Real(tag), 0.0);
    EXPECT_EQ(tagName(tag), "");
    EXPECT_EQ(text(tag), "unchanged");
    EXPECT_EQ(XML_Add_Child_Tag(tag, "c"), -1);
    XML_Set_Text(tag, "x");
}

TEST_F(CInterface, HandlesOfDestroyedNodesAreUnknownAndNewNodesGetNewHandles) {
    for (const int tag : {-1, 0, INT_MAX}) expectUnknown(tag);
    const int root = rootOf("<n k=\"1\"><mid><n k=\"1\">5<c k=\"1\"/></n></mid>5<c k=\"1\"/></n>");
    ASSERT_EQ((std::vector<int>{XML_Find_Child_Tag(root, "c"), XML_Find_Child_Tag(root, "mid"),
                                XML_Find_Child_Tag(root + 2, "n")}),
              (std::vector<int>{root + 1, root + 2, root + 3}));
    XML_Delete_Child_Tag(root, "mid");  // a child with its subtree
    for (const int tag : {root + 2, root + 3}) expectUnknown(tag);
    XML_Read_Tree(tree, files.back().c_str());  // the same shape again, perhaps at the same addresses
    for (const int tag : {root, root + 1}) expectUnknown(tag);
    EXPECT_EQ(XML_Get_Root_Tag(tree), root + 4);
    EXPECT_EQ(XML_Find_Child_Tag(root + 4, "mid"), root + 5);
    EXPECT_EQ(XML_Find_Child_Tag(root + 5, "n"), root + 6);
    XML_Delete_Tree(tree);  // a deleted document
    for (const int tag : {root + 4, root + 5, root + 6}) expectUnknown(tag);
}

// (The fuzz target passes null for every pointer.)
TEST_F(CInterface, RunTogetherResultsWithoutDocumentAndWithoutCurrentNode) {
    int i = 77, length = -1;
    double d = 7.5;
    char buffer[16] = "unchanged";
    const auto results = [&] {  // eight setters, two text-line functions, six getters
        return std::vector<int>{
            XML_SetInt(1), XML_SetReal(1.5), XML_SetRealFormat(1.5, "%g"), XML_SetText("t"),
            XML_SetAttributeInt("a", 1), XML_SetAttributeReal("a", 1.5), XML_SetAttributeRealFormat("a", 1.5, "%g"),
            XML_SetAttributeText("a", "t"), XML_AddTextLine("l"), XML_AddAttributeTextLine("a", "l"), XML_GetInt(&i),
            XML_GetReal(&d), XML_GetText(buffer, sizeof buffer, &length), XML_GetAttributeInt("a", &i),
            XML_GetAttributeReal("a", &d), XML_GetAttributeText("a", buffer, sizeof buffer, &length)};
    };
    EXPECT_EQ(results(), std::vector<int>(16, 0));
    EXPECT_EQ(XML_Open(nullptr), 0);
    EXPECT_EQ(XML_Close(), 0);  // no document was created
    XML_Open("r");  // a document without a current node: the setters succeed doing nothing
    XML_Close();
    EXPECT_EQ(results(), (std::vector<int>{1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_STREQ(buffer, "unchanged");
    EXPECT_EQ(i, 77);
    EXPECT_EQ(length, -1);
    EXPECT_EQ(d, 7.5);
    EXPECT_EQ(writtenGlobal(), declaration + "<r />\r\n");  // nothing was stored
    EXPECT_EQ(handlerCalls, 0);
}

// XML_GetInt and XML_GetReal extract from a stream; every other number getter is atoi or atof.
TEST_F(CInterface, NumberGettersOfBothFamilies) {
    const struct { const char* text; int extractedInt; double extractedReal; int atoiInt; double atofReal; } cases[] = {
        {"", 77, 7.5, 0, 0.0}, {"\t-7", -7, -7.0, -7, -7.0}, {"2.5e1x", 2, 25.0, 2, 25.0}, {"letters", 0, 0.0, 0, 0.0},
        {"0x10", 0, 0.0, 0, 16.0}, {"99999999999", INT_MAX, 99999999999.0, INT_MAX, 99999999999.0},
        {"-99999999999", INT_MIN, -99999999999.0, INT_MIN, -99999999999.0}};
    const int tag = rootOf("<v/>", "v");
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string("\"") + c.text + "\"");
        XML_Set_Text(tag, c.text);
        XML_Set_Attribute(tag, "a", c.text);
        XML_SetText(c.text);
        XML_SetAttributeText("a", c.text);
        int i = 77, attributeInt = 77;
        double d = 7.5, attributeReal = 7.5;
        EXPECT_EQ((std::vector<int>{XML_GetInt(&i), XML_GetReal(&d), XML_GetAttributeInt("a", &attributeInt),
                                    XML_GetAttributeReal("a", &attributeReal)}),
                  std::vector<int>(4, 1));
        EXPECT_EQ(std::vector<int>({i, attributeInt, XML_Get_Int(tag), XML_Get_Attribute_Int(tag, "a")}),
                  std::vector<int>({c.extractedInt, c.atoiInt, c.atoiInt, c.atoiInt}));
        EXPECT_EQ(std::vector<double>({d, attributeReal, XML_Get_Real(tag), XML_Get_Attribute_Real(tag, "a")}),
                  std::vector<double>({c.extractedReal, c.atofReal, c.atofReal, c.atofReal}));
    }
}

TEST_F(CInterface, ANullFormatStoresTheEmptyTextButNoAttributeOfTheCurrentNode) {
    XML_Open("g");
    XML_SetText("old");
    EXPECT_EQ(XML_SetAttributeRealFormat("a", 1.5, nullptr), 0);  // checked: nothing written, no handler
    EXPECT_EQ(handlerCalls, 0);
    EXPECT_EQ(XML_SetRealFormat(1.5, nullptr), 1);  // passed on
    EXPECT_EQ(handlerCalls, 1);
    EXPECT_EQ(writtenGlobal(), declaration + "<g />\r\n");
}

TEST_F(CInterface, BoundedCopiesTakeTheWholeTextOrLeaveTheBufferEmpty) {
    const int tag = rootOf("<hello a=\"hello\">hello</hello>", "hello");
    XML_SetText("hello");
    XML_SetAttributeText("a", "hello");
    // Run-together functions report the stored length, underscore functions the length in the buffer.
    const struct { const char* name; CopyCall copy; int lengthWhenShort; } copies[] = {
        {"GetText", [](char* b, size_t s, int* l) { EXPECT_EQ(XML_GetText(b, s, l), 1); }, 5},
        {"GetAttributeText", [](char* b, size_t s, int* l) { EXPECT_EQ(XML_GetAttributeText("a", b, s, l), 1); }, 5},
        {"Get_Text", [=](char* b, size_t s, int* l) { EXPECT_EQ(XML_Get_Text(tag, b, s, l), 1); }, 0},
        {"Get_Tag_Name", [=](char* b, size_t s, int* l) { XML_Get_Tag_Name(tag, b, s, l); }, 0},
        {"Get_Attribute", [=](char* b, size_t s, int* l) { XML_Get_Attribute(tag, "a", b, s, l); }, 0},
    };
    const struct { size_t size; std::string buffer; bool fits; } sizes[] = {
        {6, std::string("hello\0XX", 8), true}, {5, '\0' + std::string(7, 'X'), false},
        {0, std::string(8, 'X'), false}};
    for (const auto& c : copies) {
        for (const auto& s : sizes) {
            SCOPED_TRACE(std::string(c.name) + " size " + std::to_string(s.size));
            char buffer[9] = "XXXXXXXX";
            int length = -1;
            c.copy(buffer, s.size, &length);
            EXPECT_EQ(std::string(buffer, 8), s.buffer);
            EXPECT_EQ(length, s.fits ? 5 : c.lengthWhenShort);
            EXPECT_EQ(std::exchange(handlerCalls, 0), s.fits ? 0 : 1);
        }
    }
    char buffer[4] = "old";  // XML_Get_Attribute empties the buffer first, but not one of size 0
    int length = 7;
    XML_Get_Attribute(INT_MAX, "missing", buffer, 0, &length);
    EXPECT_EQ(std::string(buffer, 4), std::string("old\0", 4));
    EXPECT_EQ(length, 0);
    XML_Get_Attribute(tag, "missing", buffer, sizeof buffer, &length);
    EXPECT_EQ(std::string(buffer, 4), std::string("\0ld", 4));
    EXPECT_EQ(handlerCalls, 0);
}

TEST_F(CInterface, TextLinesJoinWithOneLineFeed) {
    const int tag = rootOf("<t/>", "t");
    for (const char* line : {"a", "b", ""}) {
        XML_Add_Text_Line(tag, line);
        XML_Add_Attribute_Textline(tag, "k", line);
        EXPECT_EQ(XML_AddTextLine(line), 1);
        EXPECT_EQ(XML_AddAttributeTextLine("k", line), 1);
    }
    XML_Add_Attribute_Textline(tag, "new", "only");  // a new attribute: the line is the whole text
    XML_AddAttributeTextLine("new", "only");
    const std::string expected = "<t k=\"a&#x000a;b&#x000a;\" new=\"only\">a&#x000a;b&#x000a;</t>\r\n";
    EXPECT_EQ(written(), declaration + expected);
    EXPECT_EQ(writtenGlobal(), declaration + expected);
}

TEST_F(CInterface, GlobalDocumentLifecycleAndAFileWrittenAndReadBack) {
    EXPECT_EQ(XML_Stop(), 1);  // also without a document
    EXPECT_EQ(writtenGlobal(), "(not written)");
    XML_Open("old");
    XML_SetText("x");
    EXPECT_EQ(XML_ReadFile(file("missing.xml").c_str()), 0);
    EXPECT_EQ(globalText(), "unchanged");     // no current node
    EXPECT_EQ(writtenGlobal(), declaration);  // and no old content
    EXPECT_EQ(XML_Open("a"), 1);              // creates the root
    XML_SetText("x<y");
    EXPECT_EQ((std::vector<int>{XML_Open("b"), XML_Close(), XML_Open("b")}), std::vector<int>(3, 1));  // two b
    const std::string bytes = writtenGlobal();
    EXPECT_EQ(bytes, declaration + "<a>\r\nx&lt;y<b />\r\n<b />\r\n</a>\r\n");
    ASSERT_EQ(XML_ReadFile(files.back().c_str()), 1);
    EXPECT_EQ(XML_Open("a"), 1);  // selects the root read
    EXPECT_EQ(globalText(), "x<y");
    EXPECT_EQ(writtenGlobal(), bytes);
}

// Called from several threads at once: on trees of their own, on one shared tree and on the global
// document, while another thread builds and destroys trees of its own in C++. Under
// ThreadSanitizer (the tsan preset) every unguarded access shows up as a data race.
constexpr int workerCount = 4;
constexpr int rounds = 300;
constexpr int sharedChildren = 100;  // enough for searches to index them by name

// Runs work(0), work(1) ... work(count - 1) on threads of their own and waits for all of them.
void onThreads(int count, const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
}

std::string numbered(const char* prefix, int number) { return prefix + std::to_string(number); }

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
    const std::string written = readBytes(path);
    std::remove(path.c_str());
    std::size_t elements = 0;
    for (std::size_t at = written.find("<t"); at != std::string::npos; at = written.find("<t", at + 1)) ++elements;
    EXPECT_EQ(elements, static_cast<std::size_t>(workerCount * rounds));
    EXPECT_EQ(written.substr(0, 33), "<?xml version=\"1.0\"?>\r\n<g>\r\nend<t");
    XML_Stop();
    for (auto tree = trees.rbegin(); tree != trees.rend(); ++tree) XML_Delete_Tree(*tree);
}

// Every build reads the same tricky files to the same trees and writes them back to the same bytes.
// Each input of the corpus is read through the C interface, dumped through the C interface only and
// written back; both results must equal the expected files beside the input (<name>.dump and
// <name>.written). KPXML_UPDATE_CORPUS=1 makes the test write the expected files instead.
// The attribute names the corpus uses: the C interface reads attributes only by name.
const char* const attributeNames[] = {"a", "id", "k", "m", "n", "name", "q", "r", "v", "w", "x", "y"};

using KpXml::test::quoted;

// One line for the element, then its text, its non-empty attributes of the list and its children.
void dump(int tag, const std::string& indent, std::string& out) {
    char buffer[4096];
    int length = -1;
    XML_Get_Tag_Name(tag, buffer, sizeof buffer, &length);
    const int count = XML_Get_Number_Of_Children(tag);
    out += indent + "element " + quoted(buffer) + " children " + std::to_string(count) + "\n";
    EXPECT_EQ(XML_Get_Text(tag, buffer, sizeof buffer, &length), 1);
    out += indent + "  text " + quoted(buffer) + "\n";
    for (const char* name : attributeNames) {
        XML_Get_Attribute(tag, name, buffer, sizeof buffer, &length);
        if (length > 0) out += indent + "  attribute " + name + " " + quoted(buffer) + "\n";
    }
    std::vector<int> children(static_cast<std::size_t>(count) + 1, -1);
    XML_Get_Children(tag, children.data(), count + 1);
    EXPECT_EQ(children.back(), 0);
    for (int i = 0; i < count; ++i) dump(children[static_cast<std::size_t>(i)], indent + "  ", out);
}

class Corpus : public ::testing::TestWithParam<const char*> {};

TEST_P(Corpus, ReadsAndWritesBackAsExpected) {
    const std::string base = std::string(KPXML_CORPUS_DIR) + "/" + GetParam();
    ASSERT_FALSE(readBytes(base + ".xml").empty()) << "cannot read " << base << ".xml";
    const std::string written = KpXml::test::temporaryPath(std::string("corpus_") + GetParam() + ".xml");

    const int tree = XML_Get_Tree((std::string("corpus/") + GetParam()).c_str());
    XML_Read_Tree(tree, (base + ".xml").c_str());
    std::string dumped;
    dump(XML_Get_Root_Tag(tree), "", dumped);
    XML_Write_Tree(tree, written.c_str());
    XML_Delete_Tree(tree);
    const std::string writtenBytes = readBytes(written);
    std::remove(written.c_str());

    const char* update = std::getenv("KPXML_UPDATE_CORPUS");
    if (update != nullptr && std::string(update) == "1") {
        KpXml::test::writeBytes(base + ".dump", dumped);
        KpXml::test::writeBytes(base + ".written", writtenBytes);
    }
    EXPECT_EQ(dumped, readBytes(base + ".dump"));
    EXPECT_EQ(writtenBytes, readBytes(base + ".written"));
}

INSTANTIATE_TEST_SUITE_P(Files, Corpus,
                         ::testing::Values("entities", "structure", "toplevel", "highbytes", "crlf", "indented"),
                         [](const ::testing::TestParamInfo<const char*>& info) { return std::string(info.param); });

// The library's classes used through its public headers only, as a program outside the project
// would use them.
TEST(SharedLibrary, NodesBuiltAcrossTheLibraryBoundaryReadBack) {
    KpXmlData root("root");
    KpXmlData* child = root.openChild("item", false);
    child->setAttribute("id", 3000000000ULL);
    child->setData(0.1);
    EXPECT_EQ(root.findTree("item", true), child);
    EXPECT_EQ(child->getAttributeString("id"), "-1294967296");
    EXPECT_EQ(KpXmlDataUtil::getChildDouble(&root, "item"), 0.1);
    EXPECT_FALSE(KpXml::AttributeIn::readString(root, "missing").hasValue());
    EXPECT_EQ(KpXml::AttributeIn::readString(root, "missing", "fallback"), "fallback");
    KpXml::AttributeOut::writeString(root, "", "v");  // ignored
    KpXml::AttributeOut::writeString(root, "a", " w ");
    EXPECT_EQ(KpXml::AttributeIn::readString(root, "a", "fallback"), " w ");
    EXPECT_EQ(root.getAttributes().size(), 1u);
}

}  // namespace
