// Reading a document, or its text, from a file in one call: text mode, and what a file that
// cannot be opened leaves behind.

#include "kpxml/KpXmlTree.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "TestSupport.h"

namespace {

namespace fs = std::filesystem;
using KpXml::test::written;

TEST(ReadFileTest, ReadsInTextModeAndReplacesTheTree) {
    const std::string path = KpXml::test::temporaryPath("read_text_mode.xml");
    // CR LF is a line feed (here inside a tag, so part of the name); 0x1A ends the input.
    KpXml::test::writeBytes(path, std::string("<r>\r\n<x\r\ny k=\"1\"/><a>1</a>\x1A<b/></r>"));
    KpXmlTree document("old");
    document.open("old", false);
    std::error_code error = std::make_error_code(std::errc::io_error);
    EXPECT_TRUE(document.readFile(path, error));
    EXPECT_FALSE(error);
    EXPECT_EQ(document.getCurrentNode(), nullptr);
    EXPECT_EQ(written(document), "<r>\n<x\ny k=\"1\" />\n<a>1</a>\n</r>\n");

    KpXmlTree again;
    EXPECT_TRUE(again.readFile(path));
    EXPECT_EQ(written(again), written(document));

    std::string text = "stale";
    EXPECT_TRUE(KpXmlTree::readText(path, text, error));
    EXPECT_EQ(text, "<r>\n<x\ny k=\"1\"/><a>1</a>");
    std::remove(path.c_str());
}

TEST(ReadFileTest, AFileThatCannotBeOpenedLeavesTheTreeAsItWas) {
    const fs::path folder = KpXml::test::temporaryPath("read_folder");
    fs::create_directories(folder);
    const struct { std::string path; std::errc reason; } cases[] = {
        {(folder / "missing.xml").string(), std::errc::no_such_file_or_directory},
        {(folder / "missing" / "a.xml").string(), std::errc::no_such_file_or_directory},
        {"", std::errc::no_such_file_or_directory},
        {folder.string(), std::errc::is_a_directory},
    };
    for (const auto& [path, reason] : cases) {
        KpXmlTree document("kept");
        KpXmlData* root = document.getRoot();
        root->createChild("child");
        document.open("kept", false);
        std::error_code error;
        EXPECT_FALSE(document.readFile(path, error)) << path;
        EXPECT_EQ(error, std::make_error_code(reason)) << path << ": " << error.message();
        EXPECT_EQ(document.getRoot(), root);
        EXPECT_EQ(document.getCurrentNode(), root);
        EXPECT_EQ(written(document), "<kept>\n<child />\n</kept>\n");
        EXPECT_FALSE(document.readFile(path));
        EXPECT_EQ(document.getRoot(), root);
        std::string text = "stale";
        error.clear();
        EXPECT_FALSE(KpXmlTree::readText(path, text, error)) << path;
        EXPECT_EQ(error, std::make_error_code(reason)) << path;
        EXPECT_EQ(text, "");
    }
    fs::remove_all(folder);
}

}  // namespace
