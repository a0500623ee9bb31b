// Every build reads the same tricky files to the same trees and writes them back to the same bytes.
// Each input of the corpus is read through the C interface, dumped through the C interface only and
// written back; both results must equal the expected files beside the input (<name>.dump and
// <name>.written). KPXML_UPDATE_CORPUS=1 makes the test write the expected files instead.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <kpxml/KpXmlApi.h>

#include "TestSupport.h"

namespace {

// The attribute names the corpus uses: the C interface reads attributes only by name.
const char* const attributeNames[] = {"a", "id", "k", "m", "n", "name", "q", "r", "v", "w", "x", "y"};

using KpXml::test::quoted;
using KpXml::test::readBytes;

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

}  // namespace
