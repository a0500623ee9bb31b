// Tests of the ANSI code page conversions. The expected values are those of Windows-1252, the ANSI
// code page on POSIX and under Wine.

#include "platform/CodePage.h"

#include <gtest/gtest.h>

#include <string>

namespace kpxml::platform {
namespace {

struct ByteCase {
    unsigned char byte;
    char16_t unit;
};

struct UnitCase {
    char16_t unit;
    unsigned char byte;
};

std::string toAnsi(const std::u16string& text) {
    std::string out;
    utf16ToAnsi(text.data(), text.size(), out);
    return out;
}

unsigned char unitToByte(char16_t unit) {
    const std::string out = toAnsi(std::u16string(1, unit));
    EXPECT_EQ(out.size(), 1u) << "unit " << std::hex << unsigned(unit);
    return out.empty() ? 0 : static_cast<unsigned char>(out[0]);
}

TEST(CodePageTest, ConvertsBytesToUnits) {
    const ByteCase cases[] = {
        {0x00, u'\0'},   {0x41, u'A'},    {0x7F, 0x007F},  {0x80, 0x20AC}, {0x8A, 0x0160},
        {0x96, 0x2013},  {0x9F, 0x0178},  {0xA0, 0x00A0},  {0xE9, 0x00E9}, {0xFF, 0x00FF},
        // The five bytes Windows-1252 leaves undefined give the C1 control of the same value.
        {0x81, 0x0081},  {0x8D, 0x008D},  {0x8F, 0x008F},  {0x90, 0x0090}, {0x9D, 0x009D},
    };
    for (const ByteCase& c : cases) {
        char16_t unit = 0xFFFF;
        EXPECT_TRUE(ansiByteToUtf16(c.byte, unit)) << "byte " << std::hex << unsigned(c.byte);
        EXPECT_EQ(unsigned(unit), unsigned(c.unit)) << "byte " << std::hex << unsigned(c.byte);

        std::u16string text;
        const char in = static_cast<char>(c.byte);
        ansiToUtf16(&in, 1, text);
        EXPECT_EQ(text, std::u16string(1, c.unit)) << "byte " << std::hex << unsigned(c.byte);
    }
}

TEST(CodePageTest, ConvertsUnitsWithBestFit) {
    const UnitCase cases[] = {
        // Exact.
        {0x0000, 0x00}, {u'A', 0x41},   {u'?', 0x3F},   {0x00E9, 0xE9}, {0x20AC, 0x80},
        {0x2013, 0x96}, {0x0178, 0x9F}, {0x0081, 0x81}, {0x008D, 0x8D}, {0x009D, 0x9D},
        // Best fit.
        {0x0100, 0x41}, {0x0141, 0x4C}, {0x0142, 0x6C}, {0x0110, 0xD0}, {0x03BC, 0xB5},
        {0x2010, 0x2D}, {0x2122, 0x99}, {0x3000, 0x20}, {0xFF21, 0x41}, {0xFF5E, 0x7E},
        // No fit, lone surrogates included.
        {0x0132, 0x3F}, {0x0400, 0x3F}, {0x4E2D, 0x3F}, {0xD800, 0x3F}, {0xDBFF, 0x3F},
        {0xDC00, 0x3F}, {0xDFFF, 0x3F}, {0xE000, 0x3F}, {0xFEFF, 0x3F}, {0xFFFF, 0x3F},
    };
    for (const UnitCase& c : cases)
        EXPECT_EQ(unsigned(unitToByte(c.unit)), unsigned(c.byte)) << "unit " << std::hex << unsigned(c.unit);
}

TEST(CodePageTest, ConvertsTexts) {
    EXPECT_EQ(toAnsi(u"Caf\u00E9 \u20AC\u0100\u4E2D"), "Caf\xE9 \x80" "A?");
    // Each unit of a surrogate pair becomes '?'.
    EXPECT_EQ(toAnsi(u"a\U0001F600b"), "a??b");
    EXPECT_EQ(toAnsi(std::u16string(u"x\0y", 3)), std::string("x\0y", 3));

    std::u16string units;
    ansiToUtf16("Caf\xE9 \x80\x81", 7, units);
    EXPECT_EQ(units, u"Caf\u00E9 \u20AC\u0081");
}

TEST(CodePageTest, AppendsAndAcceptsEmptyInput) {
    std::string bytes = "ab";
    utf16ToAnsi(u"", 0, bytes);
    utf16ToAnsi(u"c", 1, bytes);
    EXPECT_EQ(bytes, "abc");

    std::u16string units = u"ab";
    ansiToUtf16("", 0, units);
    ansiToUtf16("c", 1, units);
    EXPECT_EQ(units, u"abc");
}

TEST(CodePageTest, EveryByteRoundTrips) {
    EXPECT_TRUE(ansiRoundTripsEveryByte());

    std::string all;
    std::u16string perByte;
    for (unsigned b = 0; b < 256; ++b) {
        all += static_cast<char>(b);
        char16_t unit = 0;
        ASSERT_TRUE(ansiByteToUtf16(static_cast<unsigned char>(b), unit)) << "byte " << b;
        EXPECT_EQ(unsigned(unitToByte(unit)), b);
        perByte += unit;
    }

    std::u16string units;
    ansiToUtf16(all.data(), all.size(), units);
    EXPECT_EQ(units, perByte);
    EXPECT_EQ(toAnsi(units), all);
}

}  // namespace
}  // namespace kpxml::platform
