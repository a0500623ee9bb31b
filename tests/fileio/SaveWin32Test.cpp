// Saving on Windows only: a replaced file keeps its attributes (ReplaceFileA on Windows; Wine's
// ReplaceFileA drops them, so the library sets them on the new file first).

#include "kpxml/KpXmlTree.h"
#include "platform/win32/WindowsApi.h"

#include <gtest/gtest.h>

#include <string>
#include <system_error>
#include <vector>

#include "SaveFixture.h"
#include "TestSupport.h"

namespace {

using KpXml::test::readBytes;
using KpXml::test::writeBytes;

using SaveWin32Test = KpXml::test::SaveFixture;

TEST_F(SaveWin32Test, AReplacedFileKeepsItsHiddenSystemAndArchiveAttributes_Windows) {
    const struct { const char* name; DWORD attributes; } cases[] = {
        {"hidden and system", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM},
        {"archive", FILE_ATTRIBUTE_ARCHIVE},
        {"hidden and archive", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE},
    };
    constexpr DWORD kept = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ::SetFileAttributesA(target.c_str(), FILE_ATTRIBUTE_NORMAL);
        writeBytes(target, "old");
        ASSERT_TRUE(::SetFileAttributesA(target.c_str(), c.attributes));
        std::error_code error;
        EXPECT_TRUE(KpXmlTree("new").writeFile(target, false, error)) << error.message();
        EXPECT_EQ(readBytes(target), "<new />\r\n");
        EXPECT_EQ(::GetFileAttributesA(target.c_str()) & kept, c.attributes);
        EXPECT_EQ(leftOver(), std::vector<std::string>{});
    }
    ::SetFileAttributesA(target.c_str(), FILE_ATTRIBUTE_NORMAL);
}

}  // namespace
