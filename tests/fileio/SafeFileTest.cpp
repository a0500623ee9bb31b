// Safe file output (a temporary file that replaces the target when done) and text-mode input:
// the bytes on disk, the commit's failure cases and reading back.

#include "fileio/KpOFStream.h"
#include "fileio/TextFileBuffer.h"
#include "kpxml/KpXmlTree.h"
#include "platform/Files.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace platform = kpxml::platform;
using kpxml::TextFileBuffer;

std::string readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeBytes(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}

std::string readAll(std::istream& in) {
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Read-only as the platform has it: the attribute on Windows, no write bits on POSIX.
void makeReadOnly(const std::string& path) { ASSERT_TRUE(platform::setReadOnly(path.c_str(), true)); }

void removeFile(const std::string& path) {
    if (!platform::exists(path.c_str())) return;
    platform::setReadOnly(path.c_str(), false);
    EXPECT_EQ(std::remove(path.c_str()), 0) << path;
}

class SafeFileTest : public ::testing::Test {
protected:
    // The target's name is made from a reserved temporary file, so runs in parallel never meet.
    void SetUp() override {
        ASSERT_TRUE(platform::getTemporaryDirectory(directory));
        ASSERT_TRUE(platform::createTemporaryFile(directory, reserved));
        target = reserved + ".xml";
    }

    void TearDown() override {
        for (const std::string& path : leftovers) removeFile(path);
        removeFile(target);
        removeFile(reserved);
    }

    // Writes text to path through a KpOFStream; returns the temporary file's name.
    std::string write(const std::string& path, int mode, const std::string& text) {
        KpOFStream out(path.c_str(), mode);
        if (out.getStream() == nullptr) {
            ADD_FAILURE() << "no stream for " << path;
            return std::string();
        }
        EXPECT_EQ(out.getTargetPath(), path);
        EXPECT_EQ(out.getTemporaryPath().compare(0, directory.size() + 3, directory + "kpo"), 0);
        leftovers.push_back(out.getTemporaryPath());
        *out.getStream() << text << std::flush;
        EXPECT_TRUE(out.getStream()->good());
        return out.getTemporaryPath();
    }

    std::string directory;
    std::string reserved;
    std::string target;
    std::vector<std::string> leftovers;  // temporary files a failed commit may leave
};

TEST_F(SafeFileTest, TextModeStoresCarriageReturnsBinaryModeDoesNot) {
    const std::string temporary = write(target, KpOFStream::modeOut, "a\nb\n");
    EXPECT_EQ(readBytes(target), "a\r\nb\r\n");
    EXPECT_FALSE(platform::exists(temporary.c_str()));

    write(target, KpOFStream::modeOut | KpOFStream::modeBinary, "a\nb\n");
    EXPECT_EQ(readBytes(target), "a\nb\n");

    // More than one buffer's worth, with line feeds across the buffer's end.
    const std::string lines(TextFileBuffer::kBufferSize + 3, '\n');
    write(target, KpOFStream::modeOut, lines);
    std::string expected;
    for (std::size_t i = 0; i < lines.size(); ++i) expected += "\r\n";
    EXPECT_EQ(readBytes(target), expected);
}

TEST_F(SafeFileTest, AppendFollowsTheOldContentTruncateReplacesIt) {
    write(target, KpOFStream::modeOut | KpOFStream::modeAppend, "new\n");
    EXPECT_EQ(readBytes(target), "new\r\n");
    write(target, KpOFStream::modeAppend, "more\n");  // the output bit is added
    EXPECT_EQ(readBytes(target), "new\r\nmore\r\n");
    write(target, KpOFStream::modeOut, "x");
    EXPECT_EQ(readBytes(target), "x");
}

TEST_F(SafeFileTest, TargetInMissingDirectoryLeavesTheTemporaryFile) {
    const std::string missing = reserved + ".dir/out.xml";
    const std::string temporary = write(missing, KpOFStream::modeOut, "<doc/>\n");
    EXPECT_FALSE(platform::exists(missing.c_str()));
    EXPECT_EQ(readBytes(temporary), "<doc/>\r\n");
}

TEST_F(SafeFileTest, ReadOnlyTargetKeepsItsContent) {
    writeBytes(target, "old\r\n");
    makeReadOnly(target);
    const std::string temporary = write(target, KpOFStream::modeOut, "new\nlines\n");
    EXPECT_EQ(readBytes(target), "old\r\n");
    EXPECT_EQ(readBytes(temporary), "new\r\nlines\r\n");
}

TEST_F(SafeFileTest, UnusableTemporaryDirectoryGivesNoStream) {
    for (const std::string& unusable : {reserved + ".missing", directory + std::string(4100, 'd')}) {
        const platform::SavedVariables saved = platform::redirectTemporaryDirectory(unusable);
        {
            KpOFStream out(target.c_str(), KpOFStream::modeOut);
            EXPECT_EQ(out.getStream(), nullptr);
            EXPECT_EQ(out.getTemporaryPath(), "");
            EXPECT_EQ(out.getTargetPath(), "");
        }
        platform::restoreVariables(saved);
        std::string restored;
        ASSERT_TRUE(platform::getTemporaryDirectory(restored));
        EXPECT_EQ(restored, directory);
    }
    EXPECT_FALSE(platform::exists(target.c_str()));
}

TEST_F(SafeFileTest, MissingInputGivesAFailedStream) {
    const std::unique_ptr<std::istream> in = openIFStream((reserved + ".none").c_str());
    ASSERT_NE(in, nullptr);
    EXPECT_TRUE(in->fail());
}

TEST_F(SafeFileTest, TextInputDropsCarriageReturnsBeforeLineFeedsAndEndsAt1A) {
    writeBytes(target, std::string("a\r\nb\rc\x1A" "d", 8));
    const std::unique_ptr<std::istream> in = openIFStream(target.c_str());
    ASSERT_TRUE(in->good());
    EXPECT_EQ(readAll(*in), "a\nb\rc");
    EXPECT_EQ(in->get(), std::char_traits<char>::eof());
    EXPECT_TRUE(in->eof());
    in->clear();
    in->seekg(0);  // back to the beginning, as the parser goes
    EXPECT_EQ(in->get(), 'a');
    EXPECT_TRUE(in->unget().good());
    EXPECT_EQ(readAll(*in), "a\nb\rc");
    in->clear();
    EXPECT_TRUE(in->seekg(1).fail());  // no other position
}

TEST_F(SafeFileTest, CarriageReturnAtTheEndOfABufferLooksAhead) {
    const std::string filler(TextFileBuffer::kBufferSize - 1, 'x');
    const struct {
        std::string stored;
        std::string read;
    } cases[] = {{filler + "\r\ny", filler + "\ny"},
                 {filler + "\ry\r", filler + "\ry\r"},
                 {"\r", "\r"},
                 {"\r\r\n\x1A\r", "\r\n"}};
    for (const auto& c : cases) {
        writeBytes(target, c.stored);
        const std::unique_ptr<std::istream> in = openIFStream(target.c_str());
        EXPECT_EQ(readAll(*in), c.read);
    }
}

TEST_F(SafeFileTest, DocumentReadsBackAsWritten) {
    KpXmlTree tree("doc");
    tree.getRoot()->setAttribute("title", "a & b");
    KpXmlData* item = tree.getRoot()->createChild("item");
    item->setAttribute("n", 1);
    item->setData("line one");
    tree.getRoot()->createChild("empty");
    std::ostringstream expected;
    tree.putToStream(expected, true);
    {
        KpOFStream out(target.c_str(), KpXmlTree::getOFStreamOpenMode());
        ASSERT_NE(out.getStream(), nullptr);
        tree.putToStream(*out.getStream(), true);
    }
    std::string stored;
    for (char c : expected.str()) stored += c == '\n' ? std::string("\r\n") : std::string(1, c);
    EXPECT_EQ(readBytes(target), stored);

    const std::unique_ptr<std::istream> in = openIFStream(target.c_str());
    KpXmlTree read(*in);
    std::ostringstream again;
    read.putToStream(again, true);
    EXPECT_EQ(again.str(), expected.str());
}

}  // namespace
