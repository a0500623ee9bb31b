// Tests of the ANSI code page conversions. The expected values are those of Windows-1252, the ANSI
// code page on POSIX and under Wine.

#include "platform/CodePage.h"

#include <gtest/gtest.h>

#include <string>

namespace KpXml::detail::platform {
namespace {

std::string toAnsi(const std::u16string& text) {
    std::string out;
    utf16ToAnsi(text.data(), text.size(), out);
    return out;
}

TEST(CodePageTest, EveryByteConvertsToItsUnitAndBack) {
    // Bytes 0x80-0x9F; every other byte is the unit of the same value. The five bytes Windows-1252
    // leaves undefined (0x81, 0x8D, 0x8F, 0x90, 0x9D) give the C1 control of the same value.
    const std::u16string row80 =
        u"\u20AC\u0081\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039\u0152\u008D\u017D\u008F"
        u"\u0090\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC\u2122\u0161\u203A\u0153\u009D\u017E\u0178";
    std::string all;
    std::u16string perByte;
    for (unsigned b = 0; b < 256; ++b) {
        char16_t unit = 0;
        ASSERT_TRUE(ansiByteToUtf16(static_cast<unsigned char>(b), unit)) << "byte " << b;
        EXPECT_EQ(unsigned(unit), b >= 0x80 && b < 0xA0 ? unsigned(row80[b - 0x80]) : b) << "byte " << b;
        all += static_cast<char>(b);
        perByte += unit;
    }
    std::u16string units = u"ab";  // both conversions append
    ansiToUtf16(all.data(), all.size(), units);
    EXPECT_EQ(units, u"ab" + perByte);
    std::string bytes = "ab";
    utf16ToAnsi(perByte.data(), perByte.size(), bytes);
    EXPECT_EQ(bytes, "ab" + all);
    EXPECT_TRUE(ansiRoundTripsEveryByte());
}

TEST(CodePageTest, UnitsWithoutAByteTakeABestFitOrAQuestionMark) {
    const struct { char16_t unit; char byte; } cases[] = {
        {0x0100, 'A'}, {0x03BC, '\xB5'}, {0x0141, 'L'}, {0x3000, ' '}, {0xFF5E, '~'},  // best fit
        {0x0132, '?'}, {0x4E2D, '?'},    {0xD800, '?'},    {0xDFFF, '?'}, {0xFFFF, '?'},  // none; lone surrogates
    };
    for (const auto& c : cases)
        EXPECT_EQ(toAnsi(std::u16string(1, c.unit)), std::string(1, c.byte)) << "unit " << std::hex << unsigned(c.unit);
    EXPECT_EQ(toAnsi(u"\U0001F600"), "??");  // each unit of a surrogate pair too
}

}  // namespace
}  // namespace KpXml::detail::platform
