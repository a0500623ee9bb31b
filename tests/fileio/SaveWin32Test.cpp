// Saving on Windows only: a replaced file keeps its hidden and system attributes (ReplaceFileA on
// Windows keeps them; under Wine the library moves with MoveFileExA and sets them on the new file
// first). A new file's content always sets the archive attribute.

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

TEST_F(SaveWin32Test, AReplacedFileKeepsItsHiddenAndSystemAttributes_Windows) {
    const struct { const char* name; DWORD attributes; } cases[] = {
        {"hidden and system", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM},
        {"hidden", FILE_ATTRIBUTE_HIDDEN},
        {"none", FILE_ATTRIBUTE_NORMAL},
    };
    constexpr DWORD kept = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ::SetFileAttributesA(target.c_str(), FILE_ATTRIBUTE_NORMAL);
        writeBytes(target, "old");
        ASSERT_TRUE(::SetFileAttributesA(target.c_str(), c.attributes));
        std::error_code error;
        EXPECT_TRUE(KpXmlTree("new").writeFile(target, false, error)) << error.message();
        EXPECT_EQ(readBytes(target), "<new />\r\n");
        EXPECT_EQ(::GetFileAttributesA(target.c_str()) & kept, c.attributes & kept);
        EXPECT_EQ(leftOver(), std::vector<std::string>{});
    }
    ::SetFileAttributesA(target.c_str(), FILE_ATTRIBUTE_NORMAL);
}

}  // namespace
