// Tests of printing a real with a caller's printf format: the formats accepted, the text they give
// (the same in every build), and what the node does with a format that cannot be used.

#include "xml/RealFormat.h"

#include "kpxml/KpXmlApi.h"
#include "kpxml/KpXmlData.h"

#include <gtest/gtest.h>

#include "TestSupport.h"

#include <limits>
#include <string>
#include <utility>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double quietNaN = std::numeric_limits<double>::quiet_NaN();

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
    std::string out = "junk";
    EXPECT_FALSE(KpXml::detail::formatReal(1.0, nullptr, out));
    EXPECT_EQ(out, "");
    for (const auto& c : cases) {
        out = "junk";
        EXPECT_EQ(KpXml::detail::formatReal(1.0, c.format.c_str(), out), c.length != 0) << c.format.substr(0, 16);
        EXPECT_EQ(out.size(), c.length) << c.format.substr(0, 16);
    }
}

using KpXml::test::countInvalidParameter;
int& handlerCalls = KpXml::test::invalidParameterCalls;

TEST(RealFormatTest, BadFormatOnNodeCallsTheHandlerAndStoresEmptyText) {
    const KpXmlInvalidParameterHandler previous = KpXml_SetInvalidParameterHandler(&countInvalidParameter);
    ASSERT_NE(previous, nullptr);
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
    EXPECT_EQ(KpXml_SetInvalidParameterHandler(previous), &countInvalidParameter);
}

}  // namespace
