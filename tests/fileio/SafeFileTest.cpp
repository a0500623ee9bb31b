// Safe file output (a temporary file that replaces the target when done) and text-mode input:
// the bytes on disk, the commit's failure cases and reading back.

#include "fileio/KpOFStream.h"
#include "fileio/TextFileBuffer.h"
#include "kpxml/KpXmlTree.h"
#include "platform/Files.h"

#include <gtest/gtest.h>

#include "TestSupport.h"

#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace platform = KpXml::detail::platform;
using KpXml::detail::TextFileBuffer;

using KpXml::test::readBytes;

std::string readAll(std::istream& in) { return std::string(std::istreambuf_iterator<char>(in), {}); }

class SafeFileTest : public ::testing::Test {
protected:
    // The target's name is made from a reserved temporary file, so runs in parallel never meet.
    void SetUp() override {
        ASSERT_TRUE(platform::getTemporaryDirectory(directory));
        platform::NativeFile file;
        ASSERT_TRUE(platform::createTemporaryFile(directory, reserved, file));
        target = reserved + ".xml";
        files = {reserved, target};
    }
    // Every file a test made is removed, read-only ones included.
    void TearDown() override {
        for (const std::string& path : files) {
            if (!std::filesystem::exists(path)) continue;
            KpXml::test::setReadOnly(path, false);
            EXPECT_EQ(std::remove(path.c_str()), 0) << path;
        }
    }
    void store(const std::string& bytes) { KpXml::test::writeBytes(target, bytes); }
    // Writes text to path through a KpOFStream; returns the temporary file's name.
    std::string write(const std::string& path, int mode, const std::string& text) {
        KpOFStream out(path.c_str(), mode);
        EXPECT_NE(out.getStream(), nullptr) << path;
        if (out.getStream() == nullptr) return std::string();
        EXPECT_EQ(out.getTargetPath(), path);
        EXPECT_EQ(out.getTemporaryPath().compare(0, directory.size() + 3, directory + "kpo"), 0);
        files.push_back(out.getTemporaryPath());  // a failed commit leaves it
        *out.getStream() << text << std::flush;
        EXPECT_TRUE(out.getStream()->good());
        return out.getTemporaryPath();
    }

    std::string directory;
    std::string reserved;
    std::string target;
    std::vector<std::string> files;
};

TEST_F(SafeFileTest, AppendFollowsTheOldContentTextModeStoresCarriageReturnsBinaryModeDoesNot) {
    write(target, KpOFStream::modeOut | KpOFStream::modeAppend, "new\n");  // no target yet
    EXPECT_EQ(readBytes(target), "new\r\n");
    write(target, KpOFStream::modeAppend, "more\n");  // the output bit is added
    EXPECT_EQ(readBytes(target), "new\r\nmore\r\n");
    const std::string temporary = write(target, KpOFStream::modeOut, "a\nb\n");
    EXPECT_EQ(readBytes(target), "a\r\nb\r\n");
    EXPECT_FALSE(std::filesystem::exists(temporary));
    write(target, KpOFStream::modeOut | KpOFStream::modeBinary, "a\nb\n");
    EXPECT_EQ(readBytes(target), "a\nb\n");
    // More than one buffer's worth, with line feeds across the buffer's end.
    write(target, KpOFStream::modeOut, std::string(TextFileBuffer::bufferCapacity + 3, '\n'));
    std::string expected;
    for (std::size_t i = 0; i < TextFileBuffer::bufferCapacity + 3; ++i) expected += "\r\n";
    EXPECT_EQ(readBytes(target), expected);
}

TEST_F(SafeFileTest, TargetInMissingDirectoryOrReadOnlyTargetKeepsTheTemporaryFile) {
    const std::string missing = reserved + ".dir/out.xml";
    const std::string temporary = write(missing, KpOFStream::modeOut, "<doc/>\n");
    EXPECT_FALSE(std::filesystem::exists(missing));
    EXPECT_EQ(readBytes(temporary), "<doc/>\r\n");

    store("old\r\n");
    ASSERT_TRUE(KpXml::test::setReadOnly(target, true));  // POSIX: no write bits
    const std::string kept = write(target, KpOFStream::modeOut, "new\nlines\n");
    EXPECT_EQ(readBytes(target), "old\r\n");
    EXPECT_EQ(readBytes(kept), "new\r\nlines\r\n");
}

TEST_F(SafeFileTest, WriterCutOffByAnExceptionKeepsTheOldTarget) {
    store("old\r\n");
    std::string temporary;
    try {
        KpOFStream out(target.c_str(), KpOFStream::modeOut);
        ASSERT_NE(out.getStream(), nullptr);
        temporary = out.getTemporaryPath();
        *out.getStream() << "<doc>\n" << std::flush;
        throw std::runtime_error("writer failed");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(readBytes(target), "old\r\n");
    EXPECT_FALSE(std::filesystem::exists(temporary));
}

TEST_F(SafeFileTest, UnusableTemporaryDirectoryGivesNoStream) {
    for (const std::string& unusable : {reserved + ".missing", directory + std::string(4100, 'd')}) {
        KpXml::test::redirectTemporaryDirectory(unusable);
        const KpOFStream out(target.c_str(), KpOFStream::modeOut);
        KpXml::test::redirectTemporaryDirectory(directory);
        EXPECT_EQ(out.getStream(), nullptr);
        EXPECT_EQ(out.getTemporaryPath() + out.getTargetPath(), "");
    }
    EXPECT_FALSE(std::filesystem::exists(target));
}

TEST_F(SafeFileTest, TextInputDropsCarriageReturnsBeforeLineFeedsAndEndsAt1A) {
    EXPECT_TRUE(openIFStream((reserved + ".none").c_str())->fail());  // a missing file
    const std::string filler(TextFileBuffer::bufferCapacity - 1, 'x');  // a carriage return ends a buffer
    const std::string cases[][2] = {{std::string("a\r\nb\rc\x1A" "d", 8), "a\nb\rc"}, {"\r", "\r"},
                                    {"\r\r\n\x1A\r", "\r\n"}, {filler + "\r\ny", filler + "\ny"},
                                    {filler + "\ry\r", filler + "\ry\r"}, {"a\r\x1A\n", "a\r"}};
    for (const auto& [stored, read] : cases) {
        store(stored);
        const std::unique_ptr<std::istream> in = openIFStream(target.c_str());
        ASSERT_TRUE(in->good());
        EXPECT_EQ(readAll(*in), read);
        EXPECT_EQ(in->get(), std::char_traits<char>::eof());
        EXPECT_TRUE(in->eof());
        in->clear();
        EXPECT_EQ(readAll(in->seekg(0)), read);  // back to the beginning, as the parser goes
        in->clear();
        EXPECT_TRUE(in->seekg(1).fail());  // no other position
    }
}

}  // namespace
