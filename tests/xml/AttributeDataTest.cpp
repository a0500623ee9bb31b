// Tests of the attribute record's comparisons (its numbers are read as the node's readers read them).

#include "kpxml/KpXmlAttributeData.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double quietNaN = std::numeric_limits<double>::quiet_NaN();

TEST(AttributeDataTest, TextComparisonTakesLengthAndEveryByte) {
    const KpXmlAttributeData attribute("a", std::string("x\0y", 3));
    EXPECT_TRUE(attribute.getEntityFlag());
    EXPECT_FALSE(attribute.checkValue(std::string("x")));
    EXPECT_TRUE(attribute.checkValue(std::string("x\0y", 3)));
    EXPECT_FALSE(KpXmlAttributeData("a", "1").checkValue(std::string("01")));
}

TEST(AttributeDataTest, CheckValueWithToleranceIsStrict) {
    const struct { const char* text; double value; double tolerance; bool expected; } cases[] = {
        {"1", 1.0, 0.0, false},    {"1.5", 1.0, 0.5, false},     {"1.5", 1.0, 0.5000001, true},
        {"-2", 2.0, 4.0, false},   {"-2", 2.0, 4.0000001, true}, {"1", 1.0, -1.0, false},
        {"nan", 0.0, infinity, false}, {"1", quietNaN, infinity, false},     {"inf", infinity, 1.0, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(KpXmlAttributeData("a", c.text).checkValue(c.value, c.tolerance), c.expected)
            << c.text << " vs " << c.value << " within " << c.tolerance;
    }
}

}  // namespace
