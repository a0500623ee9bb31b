// Tests of numbers, vectors and integer sets stored on nodes as text, and of the defaults every
// reader gives for a missing child or attribute.

#include "kpxml/KpXmlData.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <set>
#include <string>
#include <tuple>
#include <utility>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double quietNaN = std::numeric_limits<double>::quiet_NaN();

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
    const auto findAll = [&](const char* name) {  // how many of the five readers find the attribute
        return node.findAttributeInt(name, out.i) + node.findAttributeLong(name, out.l) +
               node.findAttributeDouble(name, out.d) + node.findAttributeBool(name, out.b) +
               node.findAttributeString(name, out.s);
    };
    const auto attribute = [&](const char* name) {
        return std::tuple(node.getAttributeInt(name), node.getAttributeBool(name), node.getAttributeDouble(name),
                          node.getAttributeString(name));
    };
    EXPECT_EQ(attribute("m"), std::tuple(-1, true, 0.0, std::string()));
    EXPECT_EQ(findAll("m"), 0);
    EXPECT_EQ(std::tie(out.i, out.l, out.d, out.b, out.s), std::tuple(11, 12L, 13.5, false, "keep"));
    // The long is the real truncated toward zero (INT_MIN out of range); the flag is the integer's.
    const struct { const char* text; int i; long l; double d; bool b; } cases[] = {
        {"0.9", 0, 0, 0.9, false}, {"-2.9", -2, -2, -2.9, true}, {"3e9", 3, INT_MIN, 3e9, true},
    };
    for (const auto& c : cases) {
        node.setAttribute("v", std::string(c.text));
        EXPECT_EQ(attribute("v"), std::tuple(c.i, c.b, c.d, std::string(c.text)));
        EXPECT_EQ(findAll("v"), 5);
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

}  // namespace
