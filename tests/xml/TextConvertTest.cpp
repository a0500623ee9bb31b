// Tests of the number conversions shared by the whole library: the results must be the same in
// every build, whatever the platform's own atoi/atof do.

#include "xml/TextConvert.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <limits>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

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

}  // namespace
