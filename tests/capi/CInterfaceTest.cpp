// The C interface through the shipped library: handles and their registries, the result
// conventions of both families, copies into caller buffers, text lines, null arguments and the
// global document. Handles are process-wide: expected handles are computed from handles obtained
// in the same test, and every test deletes the documents it registers, newest first, so that the
// tree registry keeps no gaps for the tests that follow.
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include <kpxml/KpXmlApi.h>
#ifdef _WIN32
#include <process.h>
#define KPXML_PROCESS_ID _getpid()
#else
#include <unistd.h>
#define KPXML_PROCESS_ID getpid()
#endif

namespace {

using CopyCall = std::function<void(char*, size_t, int*)>;
const std::string declaration = "<?xml version=\"1.0\"?>\r\n";
int handlerCalls = 0;
void countCall() { ++handlerCalls; }

// What copy leaves in a buffer of 64 bytes that held "unchanged".
std::string copied(const CopyCall& copy) {
    char buffer[64] = "unchanged";
    int length = -1;
    copy(buffer, sizeof buffer, &length);
    return buffer;
}
std::string tagName(int tag) { return copied([=](char* b, size_t s, int* l) { XML_Get_Tag_Name(tag, b, s, l); }); }
std::string text(int tag) { return copied([=](char* b, size_t s, int* l) { XML_Get_Text(tag, b, s, l); }); }
std::string attribute(int tag, const char* name) {
    return copied([=](char* b, size_t s, int* l) { XML_Get_Attribute(tag, name, b, s, l); });
}
std::string globalText() { return copied([](char* b, size_t s, int* l) { XML_GetText(b, s, l); }); }

class CInterface : public ::testing::Test {
protected:
    void SetUp() override {
        previous = KpXml_SetInvalidParameterHandler(&countCall);
        handlerCalls = 0;
    }
    void TearDown() override {
        KpXml_SetInvalidParameterHandler(previous);
        XML_Stop();
        for (const std::string& path : files) std::remove(path.c_str());
    }
    // A name unique to this test and process: of a document, or of a file in the temporary directory.
    std::string unique(const std::string& suffix) const {
        return ::testing::UnitTest::GetInstance()->current_test_info()->name() + ("_" + suffix);
    }
    std::string file(const std::string& suffix) {
        const std::string name = "kpxml_" + std::to_string(KPXML_PROCESS_ID) + "_" + unique(suffix);
        files.push_back((std::filesystem::temp_directory_path() / name).string());
        return files.back();
    }
    std::string readBack(const std::string& path, bool written = true) {
        std::ifstream in(path, std::ios::binary);
        return written ? std::string(std::istreambuf_iterator<char>(in), {}) : "(not written)";
    }
    std::string written(int tree) { return XML_Write_Tree(tree, file("tree.xml").c_str()), readBack(files.back()); }
    std::string writtenGlobal() {
        const int result = XML_WriteFile(file("global.xml").c_str());
        return readBack(files.back(), result == 1);
    }
    int newTree() { return XML_Get_Tree(unique("tree").c_str()); }
    int treeOf(const std::string& xml) {  // a new document read from xml
        std::ofstream(file("input.xml"), std::ios::binary) << xml;
        const int tree = newTree();
        XML_Read_Tree(tree, files.back().c_str());
        return tree;
    }
    KpXmlInvalidParameterHandler previous = nullptr;
    std::vector<std::string> files;
};

// ---- Handles ---------------------------------------------------------------------------------------

TEST_F(CInterface, TreeHandlesCountOnAndFindTheFirstOfAName) {
    const int unnamed = XML_Get_Tree(nullptr);
    EXPECT_EQ(XML_Get_Tree(""), unnamed);
    const int a = XML_Get_Tree(unique("a").c_str());
    EXPECT_EQ(XML_Get_Tree(unique("b").c_str()), a + 1);
    EXPECT_EQ(XML_Get_Tree(unique("a").c_str()), a);
    EXPECT_EQ(XML_Get_Tree(nullptr), unnamed);
    EXPECT_EQ(XML_Get_Root_Tag(a), -1);
    EXPECT_EQ(XML_Get_Root_Tag(a), XML_Create_Root_Tag(a, "r"));
    XML_Delete_Tree(INT_MAX);  // unknown trees: nothing happens
    XML_Write_Tree(INT_MAX, file("never.xml").c_str());
    XML_Read_Tree(INT_MAX, files.back().c_str());
    EXPECT_FALSE(std::filesystem::exists(files.back()));
    EXPECT_EQ(XML_Get_Tree(unique("c").c_str()), a + 2);
    for (const int tree : {a + 2, a + 1, a}) XML_Delete_Tree(tree);
}

TEST_F(CInterface, NewDocumentTakesOverTheEntryOfTheNextHandleAfterADeletion) {
    const int h = XML_Get_Tree(unique("a").c_str());
    ASSERT_EQ(XML_Get_Tree(unique("b").c_str()), h + 1);
    ASSERT_EQ(XML_Get_Tree(unique("c").c_str()), h + 2);
    const int rootOfC = XML_Create_Root_Tag(h + 2, "rootOfC");
    XML_Delete_Tree(h);
    EXPECT_EQ(XML_Get_Tree(unique("d").c_str()), h + 2);
    EXPECT_EQ(XML_Get_Root_Tag(h + 2), -1);  // an empty document named d
    EXPECT_EQ(XML_Get_Tree(unique("d").c_str()), h + 2);
    EXPECT_EQ(tagName(rootOfC), "rootOfC");               // c's former root lives on
    EXPECT_EQ(XML_Get_Tree(unique("c").c_str()), h + 2);  // c is not found and registers again
    EXPECT_EQ(XML_Get_Tree(unique("b").c_str()), h + 1);
    XML_Delete_Tree(h + 2);
    XML_Delete_Tree(h + 1);
}

TEST_F(CInterface, TagHandlesCountOnAndAreNeverReused) {
    const int tree = newTree();
    const int root = XML_Create_Root_Tag(tree, "r");
    EXPECT_EQ(XML_Add_Child_Tag(root, "a"), root + 1);
    EXPECT_EQ(XML_Add_Child_Tag(root, "a"), root + 2);  // duplicates are allowed
    XML_Delete_Child_Tag(root, "a");                    // the first one
    EXPECT_EQ(tagName(root + 1), "");
    EXPECT_EQ(XML_Find_Child_Tag(root, "a"), root + 2);
    EXPECT_EQ(XML_Add_Child_Tag(root, "b"), root + 3);
    EXPECT_EQ(written(tree), declaration + "<r>\r\n<a />\r\n<b />\r\n</r>\r\n");
    EXPECT_EQ(XML_Create_Root_Tag(tree, "second"), root + 4);
    EXPECT_EQ(XML_Get_Root_Tag(tree), root + 4);
    EXPECT_EQ(tagName(root) + std::to_string(XML_Get_Number_Of_Children(root)), "r2");  // the old root works
    EXPECT_EQ(written(tree), declaration + "<second />\r\n");
    XML_Delete_Tree(tree);
}

TEST_F(CInterface, FoundNodesKeepTheirFirstHandle) {
    const int tree = treeOf("<r><x/><y/><x id=\"2\"/></r>");
    const int root = XML_Get_Root_Tag(tree);
    EXPECT_EQ(XML_Get_Root_Tag(tree), root);
    EXPECT_EQ(XML_Find_Child_Tag(root, "x"), root + 1);
    EXPECT_EQ(XML_Find_Child_Tag(root, "x"), root + 1);  // and no new handle is used up
    EXPECT_EQ(XML_Find_Child_Tag(root, "X"), -1);
    int handles[4] = {9, 9, 9, 9};
    XML_Get_Children(root, handles, 4);
    EXPECT_EQ(std::vector<int>(handles, handles + 4), (std::vector<int>{root + 1, root + 2, root + 3, 0}));
    EXPECT_EQ(attribute(root + 3, "id") + attribute(root + 1, "id"), "2");  // the first x was found
    XML_Delete_Tree(tree);
}

TEST_F(CInterface, GetChildrenZeroFillsThenWritesAtMostCapacity) {
    const int tree = treeOf("<r><a/><b/></r>");
    const int root = XML_Get_Root_Tag(tree);
    struct Case { int parent; int capacity; std::vector<int> expected; };
    for (const Case& c : {Case{root, 4, {root + 1, root + 2, 0, 0}}, Case{root, 1, {root + 1, 9, 9, 9}},
                          Case{root, 0, {9, 9, 9, 9}}, Case{root, -1, {9, 9, 9, 9}}, Case{INT_MAX, 3, {0, 0, 0, 9}}}) {
        std::vector<int> handles(4, 9);
        XML_Get_Children(c.parent, handles.data(), c.capacity);
        EXPECT_EQ(handles, c.expected) << "capacity " << c.capacity;
    }
    XML_Delete_Tree(tree);
}

TEST_F(CInterface, AttributeSearchesTakeTheFirstMatchingChild) {
    const int tree = treeOf("<p><item k=\"x\" n=\"07\" r=\"2.5\"/><item k=\"y\" n=\"8\" r=\"2.75\"/>"
                            "<other k=\"y\"/><item k=\"y\"/></p>");
    const int p = XML_Get_Root_Tag(tree);
    int c[4];
    XML_Get_Children(p, c, 4);
    const auto byText = [p](const char* child, const char* name, const char* value) {
        return XML_Find_Child_To_Attribute(p, child, name, value);
    };
    const auto byInt = [p](int value) { return XML_Find_Child_To_Int_Attribute(p, "item", "n", value); };
    const auto byReal = [p](double value, double tolerance) {
        return XML_Find_Child_To_Real_Attribute(p, "item", "r", value, tolerance);
    };
    EXPECT_EQ((std::vector<int>{byText("item", "k", "y"), byText("other", "k", "y"), byText("item", "k", "Y"),
                                byText("item", "k", "x "), byText("item", "none", "")}),
              (std::vector<int>{c[1], c[2], -1, -1, -1}));
    EXPECT_EQ((std::vector<int>{byInt(7), byInt(8), byInt(9)}), (std::vector<int>{c[0], c[1], -1}));
    EXPECT_EQ((std::vector<int>{byReal(2.5, 0.0), byReal(2.5, 1e-9), byReal(2.7, 0.1), byReal(2.6, 0.25),
                                byReal(2.0, 0.5), byReal(2.5, -1.0)}),  // the difference must be below the tolerance
              (std::vector<int>{-1, c[0], c[1], c[0], -1, -1}));
    XML_Delete_Tree(tree);
}

// Every function answers for tag as for a handle never issued. (The tree below gives its "n" elements
// text 5, attribute k=1 and a child "c" with k=1, so that live nodes would answer otherwise.)
void expectUnknown(int tag) {
    SCOPED_TRACE("tag " + std::to_string(tag));
    const std::vector<int> handles = {
        XML_Add_Child_Tag(tag, "c"), XML_Find_Child_Tag(tag, "c"), XML_Find_Child_To_Attribute(tag, "c", "k", "1"),
        XML_Find_Child_To_Int_Attribute(tag, "c", "k", 1), XML_Find_Child_To_Real_Attribute(tag, "c", "k", 1.0, 0.5)};
    EXPECT_EQ(handles, std::vector<int>(5, -1));
    int children[2] = {9, 9};
    XML_Get_Children(tag, children, 2);
    EXPECT_EQ(XML_Get_Number_Of_Children(tag) + children[0] + children[1], 0);
    EXPECT_EQ(tagName(tag) + "|" + text(tag) + "|" + attribute(tag, "k"), "|unchanged|");
    EXPECT_EQ(XML_Get_Text(tag, nullptr, 0, nullptr) + XML_Get_Int(tag) + XML_Get_Attribute_Int(tag, "k"), 0);
    EXPECT_EQ(XML_Get_Real(tag) + XML_Get_Attribute_Real(tag, "k"), 0.0);
    XML_Set_Text(tag, "x");  // setters do nothing and touch no memory
    XML_Add_Attribute_Textline(tag, "k", "x");
    XML_Delete_Child_Tag(tag, "c");
    EXPECT_EQ(handlerCalls, 0);
}

TEST_F(CInterface, HandlesOfDestroyedNodesAreUnknownAndNewNodesGetNewHandles) {
    for (const int tag : {-1, 0, INT_MAX}) expectUnknown(tag);
    const int tree = treeOf("<n k=\"1\"><mid><n k=\"1\">5<c k=\"1\"/></n></mid>5<c k=\"1\"/></n>");
    const int root = XML_Get_Root_Tag(tree);
    std::vector<int> h = {root, XML_Find_Child_Tag(root, "c"), XML_Find_Child_Tag(root, "mid")};
    h.push_back(XML_Find_Child_Tag(h[2], "n"));
    ASSERT_EQ(h, (std::vector<int>{root, root + 1, root + 2, root + 3}));
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

// ---- Values ------------------------------------------------------------------------------------

TEST_F(CInterface, RunTogetherResultsWithoutDocumentAndWithoutCurrentNode) {
    int i = 77, length = -1;
    double d = 7.5;
    char buffer[16] = "unchanged";
    struct Call { const char* name; std::function<int()> call; int withoutCurrentNode; };
    const Call calls[] = {
        {"SetInt", [] { return XML_SetInt(1); }, 1}, {"SetReal", [] { return XML_SetReal(1.5); }, 1},
        {"SetRealFormat", [] { return XML_SetRealFormat(1.5, "%g"); }, 1},
        {"SetText", [] { return XML_SetText("t"); }, 1},
        {"SetAttributeInt", [] { return XML_SetAttributeInt("a", 1); }, 1},
        {"SetAttributeReal", [] { return XML_SetAttributeReal("a", 1.5); }, 1},
        {"SetAttributeRealFormat", [] { return XML_SetAttributeRealFormat("a", 1.5, "%g"); }, 1},
        {"SetAttributeText", [] { return XML_SetAttributeText("a", "t"); }, 1},
        {"AddTextLine", [] { return XML_AddTextLine("l"); }, 0},  // here a missing current node is a failure
        {"AddAttributeTextLine", [] { return XML_AddAttributeTextLine("a", "l"); }, 0},
        {"GetInt", [&] { return XML_GetInt(&i); }, 0}, {"GetReal", [&] { return XML_GetReal(&d); }, 0},
        {"GetText", [&] { return XML_GetText(buffer, sizeof buffer, &length); }, 0},
        {"GetAttributeInt", [&] { return XML_GetAttributeInt("a", &i); }, 0},
        {"GetAttributeReal", [&] { return XML_GetAttributeReal("a", &d); }, 0},
        {"GetAttributeText", [&] { return XML_GetAttributeText("a", buffer, sizeof buffer, &length); }, 0},
    };
    for (const Call& c : calls) EXPECT_EQ(c.call(), 0) << c.name;
    XML_Open("r");
    XML_Close();  // a document without a current node
    for (const Call& c : calls) EXPECT_EQ(c.call(), c.withoutCurrentNode) << c.name;
    EXPECT_EQ(std::string(buffer) + " " + std::to_string(i) + " " + std::to_string(length) + " " + std::to_string(d),
              "unchanged 77 -1 7.500000");
    EXPECT_EQ(writtenGlobal(), declaration + "<r />\r\n");  // nothing was stored
}

// XML_GetInt and XML_GetReal extract from a stream; every other number getter is atoi or atof.
TEST_F(CInterface, NumberGettersOfBothFamilies) {
    struct Case { const char* text; int extractedInt; double extractedReal; int atoiValue; double atofValue; };
    const Case cases[] = {
        {"12abc", 12, 12.0, 12, 12.0}, {"", 77, 7.5, 0, 0.0},         {"\t", 77, 7.5, 0, 0.0},
        {"\t-7", -7, -7.0, -7, -7.0},  {"2.5e1x", 2, 25.0, 2, 25.0},  {"letters", 0, 0.0, 0, 0.0},
        {" 2.5", 2, 2.5, 2, 2.5},      {"0x10", 0, 0.0, 0, 16.0},
        {"99999999999", INT_MAX, 99999999999.0, INT_MAX, 99999999999.0},
        {"-99999999999", INT_MIN, -99999999999.0, INT_MIN, -99999999999.0},
    };
    const int tree = newTree();
    const int tag = XML_Create_Root_Tag(tree, "v");
    XML_Open("v");
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string("\"") + c.text + "\"");
        XML_Set_Text(tag, c.text);
        XML_Set_Attribute(tag, "a", c.text);
        XML_SetText(c.text);
        XML_SetAttributeText("a", c.text);
        int i = 77, attributeInt = 77;
        double d = 7.5, attributeReal = 7.5;
        EXPECT_EQ(XML_GetInt(&i) + XML_GetReal(&d), 2);
        EXPECT_EQ(XML_GetAttributeInt("a", &attributeInt) + XML_GetAttributeReal("a", &attributeReal), 2);
        EXPECT_EQ(std::vector<int>({i, attributeInt, XML_Get_Int(tag), XML_Get_Attribute_Int(tag, "a")}),
                  std::vector<int>({c.extractedInt, c.atoiValue, c.atoiValue, c.atoiValue}));
        EXPECT_EQ(std::vector<double>({d, attributeReal, XML_Get_Real(tag), XML_Get_Attribute_Real(tag, "a")}),
                  std::vector<double>({c.extractedReal, c.atofValue, c.atofValue, c.atofValue}));
    }
    XML_Delete_Tree(tree);
}

TEST_F(CInterface, FormattedRealsAreTrimmedAndANullFormatStoresTheEmptyText) {
    const int tree = newTree();
    const int tag = XML_Create_Root_Tag(tree, "v");
    XML_Set_Real_Format(tag, 2.5, "%8.3f");
    XML_Set_Attribute_Real_Format(tag, "e", 1.0, "%e");
    XML_Set_Attribute_Real(tag, "r", 0.1);
    EXPECT_EQ(written(tree), declaration + "<v e=\"1.000000e+00\" r=\"0.10000000000000000555\">2.500</v>\r\n");
    XML_Set_Real_Format(tag, 2.5, nullptr);
    XML_Set_Attribute_Real_Format(tag, "e", 1.0, nullptr);
    EXPECT_EQ(handlerCalls, 2);
    EXPECT_EQ(written(tree), declaration + "<v e=\"\" r=\"0.10000000000000000555\" />\r\n");
    XML_Delete_Tree(tree);

    XML_Open("g");
    EXPECT_EQ(XML_SetRealFormat(2.5, "%8.3f") + XML_SetAttributeRealFormat("f", 1.0, "%e"), 2);
    EXPECT_EQ(XML_SetAttributeRealFormat("a", 1.5, nullptr), 0);  // checked: nothing written, no handler
    EXPECT_EQ(writtenGlobal(), declaration + "<g f=\"1.000000e+00\">2.500</g>\r\n");
    EXPECT_EQ(XML_SetRealFormat(1.5, nullptr), 1);  // passed on
    EXPECT_EQ(handlerCalls, 3);
    EXPECT_EQ(globalText(), "");
}

// ---- Copies into caller buffers ----------------------------------------------------------------

TEST_F(CInterface, BoundedCopiesTakeTheWholeTextOrLeaveTheBufferEmpty) {
    const int tree = treeOf("<hello a=\"hello\">hello</hello>");
    const int tag = XML_Get_Root_Tag(tree);
    XML_Open("hello");
    XML_SetText("hello");
    XML_SetAttributeText("a", "hello");
    // Run-together functions report the stored length, underscore functions the length in the buffer.
    struct Copy { const char* name; CopyCall copy; int lengthWhenShort; };
    const Copy copies[] = {
        {"GetText", [](char* b, size_t s, int* l) { EXPECT_EQ(XML_GetText(b, s, l), 1); }, 5},
        {"GetAttributeText", [](char* b, size_t s, int* l) { EXPECT_EQ(XML_GetAttributeText("a", b, s, l), 1); }, 5},
        {"Get_Text", [=](char* b, size_t s, int* l) { EXPECT_EQ(XML_Get_Text(tag, b, s, l), 1); }, 0},
        {"Get_Tag_Name", [=](char* b, size_t s, int* l) { XML_Get_Tag_Name(tag, b, s, l); }, 0},
        {"Get_Attribute", [=](char* b, size_t s, int* l) { XML_Get_Attribute(tag, "a", b, s, l); }, 0},
    };
    struct Size { size_t size; std::string buffer; bool fits; };
    const Size sizes[] = {{6, std::string("hello\0XX", 8), true}, {5, '\0' + std::string(7, 'X'), false},
                          {0, std::string(8, 'X'), false}};
    for (const Copy& c : copies) {
        for (const Size& s : sizes) {
            SCOPED_TRACE(std::string(c.name) + " size " + std::to_string(s.size));
            char buffer[8];
            std::memset(buffer, 'X', sizeof buffer);
            int length = -1;
            handlerCalls = 0;
            c.copy(buffer, s.size, &length);
            EXPECT_EQ(std::string(buffer, sizeof buffer), s.buffer);
            EXPECT_EQ(length, s.fits ? 5 : c.lengthWhenShort);
            EXPECT_EQ(handlerCalls, s.fits ? 0 : 1);
        }
    }
    handlerCalls = 0;
    for (const int target : {tag, INT_MAX}) {  // XML_Get_Attribute empties the buffer first
        char buffer[4] = "old";
        int length = 7;
        XML_Get_Attribute(target, "missing", buffer, sizeof buffer, &length);
        EXPECT_EQ(std::string(buffer, 4) + std::to_string(length), std::string("\0ld\0" "0", 5));
        XML_Get_Attribute(target, "missing", std::strcpy(buffer, "old"), 0, &length);  // size 0: not written
        EXPECT_STREQ(buffer, "old");
    }
    EXPECT_EQ(handlerCalls, 0);
    XML_Delete_Tree(tree);
}

TEST_F(CInterface, TextLinesJoinWithOneLineFeed) {
    const int tree = newTree();
    const int tag = XML_Create_Root_Tag(tree, "t");
    XML_Open("t");
    for (const char* line : {"a", "b", ""}) {
        XML_Add_Text_Line(tag, line);
        XML_Add_Attribute_Textline(tag, "k", line);
        EXPECT_EQ(XML_AddTextLine(line) + XML_AddAttributeTextLine("k", line), 2);
    }
    XML_Add_Attribute_Textline(tag, "new", "only");  // created with the line as its whole text
    XML_AddAttributeTextLine("new", "only");
    const std::string expected = "<t k=\"a&#x000a;b&#x000a;\" new=\"only\">a&#x000a;b&#x000a;</t>\r\n";
    EXPECT_EQ(written(tree), declaration + expected);
    EXPECT_EQ(writtenGlobal(), declaration + expected);
    XML_Delete_Tree(tree);
}

// ---- Null pointers where a null is a caller error --------------------------------------------

TEST_F(CInterface, NullArgumentsGiveTheFailureValueAndChangeNothing) {
    const int tree = treeOf("<r k=\"1\">t<c k=\"1\"/></r>");
    const int root = XML_Get_Root_Tag(tree);
    const std::string before = written(tree);
    const std::vector<int> handles = {
        XML_Create_Root_Tag(tree, nullptr), XML_Add_Child_Tag(root, nullptr), XML_Find_Child_Tag(root, nullptr),
        XML_Find_Child_To_Attribute(root, nullptr, "k", "1"), XML_Find_Child_To_Attribute(root, "c", "k", nullptr),
        XML_Find_Child_To_Int_Attribute(root, "c", nullptr, 1),
        XML_Find_Child_To_Real_Attribute(root, "c", nullptr, 1, 1)};
    EXPECT_EQ(handles, std::vector<int>(handles.size(), -1));
    EXPECT_EQ(XML_Get_Attribute_Int(root, nullptr), 0);
    XML_Read_Tree(tree, nullptr), XML_Write_Tree(tree, nullptr), XML_Delete_Child_Tag(root, nullptr);
    XML_Get_Children(root, nullptr, 3), XML_Set_Text(root, nullptr), XML_Add_Text_Line(root, nullptr);
    XML_Set_Attribute(root, nullptr, "v"), XML_Set_Attribute(root, "k", nullptr);
    XML_Add_Attribute_Textline(root, nullptr, "l"), XML_Add_Attribute_Textline(root, "k", nullptr);
    int length = 7;
    XML_Get_Attribute(root, "k", nullptr, 8, &length);
    char buffer[8];
    XML_Get_Tag_Name(root, buffer, sizeof buffer, nullptr);
    EXPECT_EQ(buffer + std::to_string(length), "r0");
    EXPECT_EQ(written(tree), before);
    EXPECT_EQ(XML_Get_Root_Tag(tree), root);
    XML_Delete_Tree(tree);

    EXPECT_EQ(XML_Open(nullptr), 0);
    EXPECT_EQ(XML_Close(), 0);  // no document was created
    XML_Open("g");
    XML_SetAttributeInt("k", 1);
    XML_SetText("t");
    int value = 0;
    const std::vector<int> results = {
        XML_ReadFile(nullptr), XML_WriteFile(nullptr), XML_SetText(nullptr), XML_GetInt(nullptr),
        XML_GetReal(nullptr), XML_GetText(nullptr, 8, &length), XML_GetAttributeInt(nullptr, &value),
        XML_GetAttributeInt("k", nullptr), XML_SetAttributeText(nullptr, "v"), XML_SetAttributeText("k", nullptr),
        XML_AddTextLine(nullptr), XML_AddAttributeTextLine("k", nullptr), XML_AddAttributeTextLine(nullptr, "l"),
        XML_SetAttributeInt(nullptr, 2), XML_Open(nullptr)};
    EXPECT_EQ(results, std::vector<int>(results.size(), 0));
    EXPECT_EQ(writtenGlobal(), declaration + "<g k=\"1\">t</g>\r\n");
    EXPECT_EQ(globalText(), "t");  // still the current node
    EXPECT_EQ(handlerCalls, 0);
}

// ---- The global document --------------------------------------------------------------------

TEST_F(CInterface, GlobalDocumentLifecycle) {
    EXPECT_EQ(XML_Stop() + XML_Stop(), 2);
    EXPECT_EQ(XML_Close(), 0);
    EXPECT_EQ(writtenGlobal(), "(not written)");
    XML_Open("old");
    XML_SetText("x");
    EXPECT_EQ(XML_ReadFile(file("missing.xml").c_str()), 0);
    EXPECT_EQ(globalText(), "unchanged");     // no current node
    EXPECT_EQ(writtenGlobal(), declaration);  // and no old content
    EXPECT_EQ(XML_Open("a"), 1);              // creates the root
    EXPECT_EQ(XML_Open("b"), 1);
    EXPECT_EQ(XML_Close(), 1);
    EXPECT_EQ(XML_Open("b"), 1);  // always a new child
    EXPECT_EQ(writtenGlobal(), declaration + "<a>\r\n<b />\r\n<b />\r\n</a>\r\n");
}

TEST_F(CInterface, GlobalDocumentWritesAndReadsBackAFile) {
    XML_Open("doc");
    XML_SetAttributeInt("n", 7);
    XML_SetAttributeReal("r", 0.1);
    XML_SetAttributeText("s", "a\"b");
    XML_SetText("x<y");
    XML_Open("item");
    const std::string bytes = writtenGlobal();
    EXPECT_EQ(bytes, declaration + "<doc n=\"7\" r=\"0.10000000000000000555\" s=\"a&quot;b\">\r\nx&lt;y<item />\r\n"
                                   "</doc>\r\n");
    ASSERT_EQ(XML_ReadFile(files.back().c_str()), 1);
    EXPECT_EQ(XML_Open("doc"), 1);  // selects the root read
    int n = 0, length = -1;
    double r = 0.0;
    char s[8];
    EXPECT_EQ(XML_GetAttributeInt("n", &n) + XML_GetAttributeReal("r", &r), 2);
    EXPECT_EQ(XML_GetAttributeText("s", s, sizeof s, &length), 1);
    EXPECT_EQ(std::to_string(n) + " " + s + " " + std::to_string(length) + " " + globalText(), "7 a\"b 3 x<y");
    EXPECT_EQ(r, 0.1);
    EXPECT_EQ(writtenGlobal(), bytes);
}

}  // namespace
