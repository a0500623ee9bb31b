// Values stored on nodes as text: the conversions shared by the whole library (the same in every
// build, whatever the platform's own atoi/atof/printf and code page do), reals printed with a
// caller's format, the typed setters and readers of the node and of the static helpers, and their
// defaults for a missing child or attribute.

#include "platform/CodePage.h"
#include "xml/RealFormat.h"
#include "xml/TextConvert.h"

#include "kpxml/KpXmlApi.h"
#include "kpxml/KpXmlData.h"
#include "kpxml/KpXmlDataUtil.h"

#include <gtest/gtest.h>

#include "TestSupport.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

namespace platform = KpXml::detail::platform;
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double quietNaN = std::numeric_limits<double>::quiet_NaN();

TEST(TextConvertTest, AtoiReadsLeadingIntegerAndSaturates) {
    const struct { const char* text; int expected; } cases[] = {
        {" \t\n\v\f\r-17", -17}, {"+8", 8}, {"12abc", 12}, {"-", 0}, {"+-3", 0}, {"- 3", 0},
        {"2147483647", INT_MAX}, {"2147483648", INT_MAX}, {"99999999999", INT_MAX},
        {"-2147483648", INT_MIN}, {"-2147483649", INT_MIN}, {"-99999999999999999999999", INT_MIN},
        {"00000000000000000000012", 12},
    };
    for (const auto& c : cases) EXPECT_EQ(KpXml::detail::atoi(c.text), c.expected) << '"' << c.text << '"';
}

TEST(TextConvertTest, AtofReadsLeadingReal) {
    const struct { const char* text; double expected; } cases[] = {
        {"  -2.25e2", -225.0}, {"+.5", 0.5}, {"0.1", 0.1}, {"1e+", 1.0}, {".", 0.0}, {"+-5", 0.0},
        {"0x1.8p3", 12.0}, {"-0X1P-2", -0.25}, {"0x.8p1", 1.0}, {"0x1p", 1.0}, {"0x", 0.0},
        {"-Infinity", -infinity}, {"infinit", infinity}, {"1.7976931348623157e308", DBL_MAX},
        {"-1e999", -infinity}, {"1e99999999999", infinity}, {"0x1p99999", infinity}, {"2e-324", 0.0}, {"-1e-400", 0.0},
        {"4.9406564584124654e-324", std::numeric_limits<double>::denorm_min()},
    };
    for (const auto& c : cases) EXPECT_EQ(KpXml::detail::atof(c.text), c.expected) << '"' << c.text << '"';
    EXPECT_TRUE(std::signbit(KpXml::detail::atof("-1e-400")));
    for (const char* text : {"NAN", " nan(123)", "-nan"}) EXPECT_TRUE(std::isnan(KpXml::detail::atof(text))) << text;
    EXPECT_TRUE(std::signbit(KpXml::detail::atof("-nan")));
}

TEST(TextConvertTest, TruncateToIntGoesTowardZeroAndGivesIntMinOutOfRange) {
    const struct { double value; std::int32_t expected; } cases[] = {
        {-2.9, -2}, {2147483647.9, INT_MAX}, {-2147483648.9, INT_MIN}, {2147483648.0, INT_MIN},
        {-2147483649.0, INT_MIN}, {std::numeric_limits<double>::quiet_NaN(), INT_MIN},
    };
    for (const auto& c : cases) EXPECT_EQ(KpXml::detail::truncateToInt(c.value), c.expected) << c.value;
}

TEST(RealFormatTest, AcceptedFormatsPrintAsPrintf) {
    const struct { const char* format; double value; const char* text; } cases[] = {
        {"%8.3f", 2.5, "   2.500"},      {"%e", 1.0, "1.000000e+00"},      {"%f", -0.0, "-0.000000"},
        {"%g", 100000.0, "100000"},       {"%g", 1e6, "1e+06"},             {"%.3g", 0.0001234567, "0.000123"},
        {"%+08.2f", 3.14159, "+0003.14"}, {"%-8.1f|", 2.25, "2.2     |"},  {"% .3e", 1234.5, " 1.234e+03"},
        {"%+ .1f", 1.0, "+1.0"},          {"%-+08.1f|", 1.0, "+1.0    |"}, {"%#.0f", 1.0, "1."},
        {"%#.0e", 1.0, "1.e+00"},         {"%#g", 1.0, "1.00000"},          {"%.f", 2.7, "3"},
        {"%.0f", 0.5, "0"},               {"%A", 0.5, "0X1P-1"},            {"%.2a", 1.0, "0x1.00p+0"},
        {"%010a", 1.0, "0x00001p+0"},     {"%#A", 1.0, "0X1.P+0"},          {"%lf", 0.25, "0.250000"},
        {"%Lg", 2.0, "2"},                {"%F", -infinity, "-INF"},            {"%05f", infinity, "  inf"},
        {"%-6e|", -quietNaN, "-nan  |"},      {"x=%5.1f%%;", 50.0, "x= 50.0%;"}, {"100%%", 1.0, "100%"},
        {"", 1.0, ""},                    {"%.1100g", 0.1, "0.1000000000000000055511151231257827021181583404541015625"},
    };
    for (const auto& c : cases) {
        std::string out = "junk";
        EXPECT_TRUE(KpXml::detail::formatReal(c.value, c.format, out)) << c.format;
        EXPECT_EQ(out, c.text) << c.format;
    }
}

TEST(RealFormatTest, RejectedFormatsAndTextsOver1023CharactersGiveFalseAndEmptyText) {
    const struct { std::string format; std::size_t length; } cases[] = {  // length 0: rejected
        {"%f %f", 0}, {"%d", 0}, {"%*f", 0}, {"%", 0}, {"%hf", 0}, {"%llf", 0}, {"%.5000f", 0},
        {"%99999999999999999999f", 0}, {"%.1021f", 1023}, {"%.1022f", 0}, {"%1023f", 1023}, {"%1024f", 0},
        {std::string(1020, 'a') + "%.1f", 1023}, {std::string(1021, 'a') + "%.1f", 0},
        {std::string(2046, '%'), 1023}, {std::string(2048, '%'), 0},
    };
    for (const auto& c : cases) {
        std::string out = "junk";
        EXPECT_EQ(KpXml::detail::formatReal(1.0, c.format.c_str(), out), c.length != 0) << c.format.substr(0, 16);
        EXPECT_EQ(out.size(), c.length) << c.format.substr(0, 16);
    }
}

TEST(RealFormatTest, BadFormatOnNodeCallsTheHandlerAndStoresEmptyText) {
    int& handlerCalls = KpXml::test::invalidParameterCalls;
    const KpXmlInvalidParameterHandler previous = KpXml_SetInvalidParameterHandler(&KpXml::test::countInvalidParameter);
    for (const char* format : {static_cast<const char*>(nullptr), "%d", "%1024f"}) {
        SCOPED_TRACE(format != nullptr ? format : "(null)");
        KpXmlData node("n");
        node.setData(std::string("old"));
        node.setAttribute("a", std::string("old"), false);
        handlerCalls = 0;
        node.setData(2.5, format);
        EXPECT_EQ(std::exchange(handlerCalls, 0), 1);
        node.setAttribute("a", 2.5, format);
        EXPECT_EQ(handlerCalls, 1);
        EXPECT_EQ(node.getData(), "");
        EXPECT_EQ(node.getAttributeString("a"), "");
        EXPECT_TRUE(node.findAttribute("a")->getEntityFlag());
    }
    KpXml_SetInvalidParameterHandler(previous);
}

TEST(TypedValuesTest, TextLosesEndSpacesButAFormattedRealLosesAllEndWhiteSpace) {
    KpXmlData node("n");
    const char* const texts[][2] = {{"  a b  ", "a b"}, {"\tx\n ", "\tx\n"}, {"   ", ""}};
    for (const auto& [text, stored] : texts) {
        node.setData("previous");
        node.setData(std::string(text));
        node.setAttribute("t", std::string(text));
        EXPECT_EQ(node.getData(), stored);
        EXPECT_EQ(node.getAttributeString("t"), text);  // attribute text is kept as given
    }
    const char* const formats[][2] = {{"%8.3f", "2.500"}, {"\t\n%-9.1f\r\v\f", "2.5"}, {" [ %.1f ] ", "[ 2.5 ]"}};
    for (const auto& [format, stored] : formats) {
        node.setData(2.5, format);
        node.setAttribute("f", 2.5, format);
        EXPECT_EQ(node.getData(), stored) << format;
        EXPECT_EQ(node.getAttributeString("f"), stored) << format;
    }
}

TEST(TypedValuesTest, IntegersKeepTheirLow32Bits) {
    EXPECT_EQ(KpXmlData::toString(INT_MIN), "-2147483648");
    KpXmlData node("n");
    for (const auto& [value, text] : {std::pair{3000000000ULL, "-1294967296"}, std::pair{4294967299ULL, "3"}}) {
        node.setData(value);
        node.setAttribute("u", value, false);
        EXPECT_EQ(node.getData(), text);
        EXPECT_EQ(node.getAttributeString("u"), text);
        EXPECT_FALSE(node.findAttribute("u")->getEntityFlag());
    }
    node.setAttribute("u", 1.5);  // a real always sets the entity flag
    EXPECT_TRUE(node.findAttribute("u")->getEntityFlag());
    node.setAttribute("l", LONG_MAX);  // long has 64 bits on Linux, 32 on Windows
    EXPECT_EQ(node.getAttributeString("l"), sizeof(long) == 8 ? "-1" : "2147483647");
    node.setAttribute("l", LONG_MIN);
    EXPECT_EQ(node.getAttributeString("l"), sizeof(long) == 8 ? "0" : "-2147483648");
}

TEST(TypedValuesTest, RealsHaveTwentySignificantDigits) {
    const struct { double value; const char* text; } cases[] = {
        {1.0, "1"}, {-0.0, "-0"}, {0.1, "0.10000000000000000555"}, {123456789012345678.0, "123456789012345680"},
        {1e20, "1e+20"}, {1e-5, "1.0000000000000000818e-05"},
        {std::numeric_limits<double>::denorm_min(), "4.9406564584124654418e-324"},
        {infinity, "inf"}, {-infinity, "-inf"}, {quietNaN, "nan"}, {-quietNaN, "-nan"},
    };
    KpXmlData node("n");
    for (const auto& c : cases) {
        node.setData(c.value);
        node.setAttribute("d", c.value);
        EXPECT_EQ(KpXmlData::toString(c.value), c.text);
        EXPECT_EQ(node.getData(), c.text);
        EXPECT_EQ(node.getAttributeString("d"), c.text);
    }
}

TEST(TypedValuesTest, ReadersAndTheirDefaultsForAMissingItem) {
    KpXmlData node("n");
    struct { int i = 11; long l = 12; double d = 13.5; bool b = false; std::string s = "keep"; } out;
    const auto findAll = [&](const char* name) {  // which of the five readers find the attribute
        return std::vector<bool>{node.findAttributeInt(name, out.i), node.findAttributeLong(name, out.l),
                                 node.findAttributeDouble(name, out.d), node.findAttributeBool(name, out.b),
                                 node.findAttributeString(name, out.s)};
    };
    const auto attribute = [&](const char* name) {
        return std::tuple(node.getAttributeInt(name), node.getAttributeBool(name), node.getAttributeDouble(name),
                          node.getAttributeString(name));
    };
    EXPECT_EQ(attribute("m"), std::tuple(-1, true, 0.0, std::string()));
    EXPECT_EQ(findAll("m"), std::vector<bool>(5, false));
    EXPECT_EQ(std::tie(out.i, out.l, out.d, out.b, out.s), std::tuple(11, 12L, 13.5, false, "keep"));
    // The long is the real truncated toward zero (INT_MIN out of range); the flag is the integer's.
    const struct { const char* text; int i; long l; double d; bool b; } cases[] = {
        {"0.9", 0, 0, 0.9, false}, {"-2.9", -2, -2, -2.9, true}, {"3e9", 3, INT_MIN, 3e9, true},
    };
    for (const auto& c : cases) {
        node.setAttribute("v", std::string(c.text));
        EXPECT_EQ(attribute("v"), std::tuple(c.i, c.b, c.d, std::string(c.text)));
        EXPECT_EQ(findAll("v"), std::vector<bool>(5, true));
        EXPECT_EQ(std::tie(out.i, out.l, out.d, out.b, out.s), std::tuple(c.i, c.l, c.d, c.b, c.text));
    }
    // Children: the first of that name.
    const char* const layout[][2] = {{"c", "8.75x"}, {"c", "3"}, {"X", "1"}, {"y", "5"}, {"Z", "3.5"}, {"X", "9"}};
    for (const auto& [name, text] : layout) node.createChild(name)->setData(std::string(text));
    const auto child = [&](const char* name) {
        return std::tuple(node.getChildInt(name), node.getChildDouble(name), node.getChildString(name));
    };
    EXPECT_EQ(child("missing"), std::tuple(0, 0.0, std::string()));
    EXPECT_EQ(child("c"), std::tuple(8, 8.75, std::string("8.75x")));
    double x = 7, y = 7, z = 7;
    node.getVector(x, y, z);  // "y" is not "Y": Y reads as missing
    EXPECT_EQ(std::tuple(x, y, z), std::tuple(1.0, 0.0, 3.5));
}

TEST(TypedValuesTest, IntSetsUsePositionalNamesAndReadEveryAttribute) {
    KpXmlData node("n");
    node.writeIntSet({5, 2, 9, -3});
    node.findAttribute("N1")->setEntityFlag(false);
    node.writeIntSet({7, 8});  // overwrites in place by name, removes nothing
    std::string texts;  // each attribute as name=value, with '*' for a set entity flag
    for (const KpXmlAttributeData* a : node.getAttributes())
        texts += a->getName() + "=" + a->getData() + (a->getEntityFlag() ? "* " : " ");
    EXPECT_EQ(texts, "N0=7* N1=8* N2=5* N3=9* ");
    node.writeIntSet({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    EXPECT_EQ(node.getAttributeString("N10"), "10");
    node.setAttribute("t", "-4x");
    std::set<int> values{100};
    node.readIntSet(values);
    EXPECT_EQ(values, (std::set<int>{-4, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 100}));
}

using Util = KpXmlDataUtil;

TEST(NodeHelpersTest, ReadValGivesTheValueOrKeepsThePresetValue) {
    KpXmlData node("n");
    node.setAttribute("a", "2.5x");
    node.setAttribute("z", "0.5");
    node.createChild("c")->setData(std::string("-3.5"));
    node.createChild("e");
    // What readVal leaves in an int, a real and two flags preset to 7, 7.5, true and false.
    const auto read = [](bool child, const KpXmlData* on, const char* name) {
        std::tuple<int, double, bool, bool> values{7, 7.5, true, false};
        std::apply([&](auto&... out) {
            child ? (Util::readValToChild(on, name, out), ...) : (Util::readValToAttribute(on, name, out), ...);
        }, values);
        return values;
    };
    const std::tuple kept(7, 7.5, true, false);
    EXPECT_EQ(read(false, &node, "a"), std::tuple(2, 2.5, true, true));
    EXPECT_EQ(read(false, &node, "z"), std::tuple(0, 0.5, false, false));
    EXPECT_EQ(read(true, &node, "c"), std::tuple(-3, -3.5, true, true));
    EXPECT_EQ(read(true, &node, "e"), std::tuple(0, 0.0, false, false));
    EXPECT_EQ(read(false, &node, "c"), kept);
    EXPECT_EQ(read(true, &node, "a"), kept);
    EXPECT_EQ(Util::getAttributeInt(nullptr, "a"), -1);  // no node reads as a missing attribute
}

TEST(NodeHelpersTest, SetChildDataWritesTheFirstChildOfThatNameAndTheCheckOnlyAboveTheThreshold) {
    KpXmlData node("n");
    KpXmlData* x = node.createChild("X");
    node.createChild("X");
    Util::setChildData(&node, "X", 0.1, nullptr);  // no format: twenty digits
    EXPECT_EQ(x->getData(), "0.10000000000000000555");
    Util::setChildData(&node, "Y", -4.0);
    const KpXmlData* y = node.getChildren().back();
    Util::setChildDataCheck(&node, "Y", 1e-9, 1e-9);  // not above: nothing written, nothing made
    Util::setChildDataCheck(&node, "Z", -1e-9, 1e-9, "%f");
    EXPECT_EQ(y->getData(), "-4");
    EXPECT_EQ(node.getChildren().size(), 3u);
    Util::setChildDataCheck(&node, "Y", -2.0, 1e-9);
    EXPECT_EQ(y->getData(), "-2");
    Util::setChildDataCheck(&node, "Y", -1.5000001, 1.5, "%.2f");
    EXPECT_EQ(y->getData(), "-1.50");
}

TEST(NodeHelpersTest, OpenToAttributeFindsOrCreatesByNarrowedKey) {
    KpXmlData node("n");
    node.createChild("Other")->setAttribute("id", 3);
    node.createChild("Case");  // no key
    KpXmlData* created = Util::openToAttribute(&node, "Case", "id", 4294967299ULL);
    EXPECT_EQ(node.getChildren().size(), 3u);
    EXPECT_EQ(created->getAttributeString("id"), "3");
    EXPECT_TRUE(created->findAttribute("id")->getEntityFlag());
    EXPECT_EQ(Util::openToAttribute(&node, "Case", "id", 3), created);
    EXPECT_EQ(node.getChildren().size(), 3u);
}

// The ANSI code page conversions. The expected values are those of Windows-1252, the ANSI code
// page on POSIX and under Wine.
std::string toAnsi(const std::u16string& text) {
    std::string out;
    platform::utf16ToAnsi(text.data(), text.size(), out);
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
        ASSERT_TRUE(platform::ansiByteToUtf16(static_cast<unsigned char>(b), unit)) << "byte " << b;
        EXPECT_EQ(unsigned(unit), b >= 0x80 && b < 0xA0 ? unsigned(row80[b - 0x80]) : b) << "byte " << b;
        all += static_cast<char>(b);
        perByte += unit;
    }
    std::u16string units = u"ab";  // both conversions append
    platform::ansiToUtf16(all.data(), all.size(), units);
    EXPECT_EQ(units, u"ab" + perByte);
    std::string bytes = "ab";
    platform::utf16ToAnsi(perByte.data(), perByte.size(), bytes);
    EXPECT_EQ(bytes, "ab" + all);
    EXPECT_TRUE(platform::ansiRoundTripsEveryByte());
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
