// What a save reports: true / 1 only when the target holds the complete new document, otherwise
// false / 0 with the reason, the target unchanged and nothing left behind. The reasons are the
// same words in both builds.

#include "fileio/KpOFStream.h"
#include "kpxml/KpXmlApi.h"
#include "kpxml/KpXmlTree.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "SaveFixture.h"
#include "TestSupport.h"

namespace {

namespace fs = std::filesystem;
using KpXml::test::readBytes;
using KpXml::test::writeBytes;

class SaveResultTest : public KpXml::test::SaveFixture {
protected:
    void TearDown() override {
        XML_Stop();
        XML_Delete_Tree(XML_Get_Tree("saved"));
        SaveFixture::TearDown();
    }
};

// A path of more than 4096 characters made of names of 100.
std::string overlongPath(const fs::path& start) {
    fs::path path = start;
    while (path.string().size() <= 4096) path /= std::string(100, 'd');
    return (path / "x.xml").string();
}

TEST_F(SaveResultTest, RefusedSavesReportWhyAndLeaveEverythingAsItWas) {
    const struct {
        const char* name;
        std::string path;
        std::string words;
        std::errc condition;
    } cases[] = {
        {"read-only file", target, "read-only file", std::errc::permission_denied},
        {"missing directory", (targets / "missing" / "x.xml").string(), "No such file or directory",
         std::errc::no_such_file_or_directory},
        {"a directory", (targets / "folder").string(), "Is a directory", std::errc::is_a_directory},
        {"a name of 256 characters", (targets / std::string(256, 'n')).string(), "File name too long",
         std::errc::filename_too_long},
        {"a path over 4096 characters", overlongPath(targets), "File name too long", std::errc::filename_too_long},
    };
    writeBytes(target, "old");
    ASSERT_TRUE(KpXml::test::setReadOnly(target, true));
    fs::create_directory(targets / "folder");
    const std::vector<std::string> present{"folder", "target.xml"};

    XML_Open("doc");
    const int tree = XML_Get_Tree("saved");
    XML_Create_Root_Tag(tree, "doc");
    KpXmlTree document("doc");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::error_code error = std::make_error_code(std::errc::interrupted);
        EXPECT_FALSE(document.writeFile(c.path, true, error));
        EXPECT_EQ(error.message(), c.words);
        EXPECT_EQ(error, c.condition);
        EXPECT_FALSE(document.writeFile(c.path, false));
        EXPECT_EQ(XML_WriteFile(c.path.c_str()), 0);
        XML_Write_Tree(tree, c.path.c_str());
        const KpOFStream out(c.path.c_str(), KpOFStream::modeOut);
        EXPECT_EQ(out.getStream(), nullptr);
        EXPECT_EQ(out.getTemporaryPath(), "");
        EXPECT_EQ(out.getError(), error);

        EXPECT_EQ(readBytes(target), "old");
        EXPECT_EQ(leftOver(present), std::vector<std::string>{});
        EXPECT_EQ(namesIn(targets / "folder"), std::vector<std::string>{});
    }
}

TEST_F(SaveResultTest, ATargetMadeReadOnlyWhileSavingKeepsItsContent) {
    writeBytes(target, "old");
    KpOFStream out(target.c_str(), KpOFStream::modeOut);
    ASSERT_NE(out.getStream(), nullptr);
    *out.getStream() << "new";
    ASSERT_TRUE(KpXml::test::setReadOnly(target, true));
    EXPECT_FALSE(out.commit());
    EXPECT_EQ(out.getError().message(), "read-only file");
    EXPECT_EQ(readBytes(target), "old");
    EXPECT_EQ(leftOver(), std::vector<std::string>{});
}

TEST_F(SaveResultTest, ASaveThatSucceedsClearsTheReasonAndHoldsTheWholeDocument) {
    KpXmlTree document("doc");
    document.getRoot()->openChild("item", true)->setData("text");
    for (const bool exists : {false, true}) {
        SCOPED_TRACE(exists ? "replaced" : "new");
        std::error_code error = std::make_error_code(std::errc::io_error);
        EXPECT_TRUE(document.writeFile(target, true, error));
        EXPECT_EQ(error, std::error_code());
        EXPECT_EQ(readBytes(target), "<?xml version=\"1.0\"?>\r\n<doc>\r\n<item>text</item>\r\n</doc>\r\n");
        EXPECT_EQ(leftOver(), std::vector<std::string>{});
    }
}

}  // namespace
