#ifndef KPXML_XML_TEXTCONVERT_H
#define KPXML_XML_TEXTCONVERT_H

#include <cstdint>
#include <string>

// The number conversions every part of the library uses, with the same results on every platform
// and in every locale.
namespace KpXml::detail {

// White space as the "C" locale's isspace: space, \t, \n, \v, \f, \r.
inline bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// A decimal digit.
inline bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Reads the decimal digits at p and moves p past all of them. The value is exact while it is at
// most limit (below LLONG_MAX / 10); beyond, it stops growing and is then some number above limit,
// so that no run of digits overflows.
long long readDigits(const char*& p, long long limit);

// atoi: skips white space, takes an optional sign and decimal digits; saturates at INT_MAX or
// INT_MIN on overflow; 0 when no digit follows.
int atoi(const char* text);
inline int atoi(const std::string& text) { return atoi(text.c_str()); }

// atof: strtod of the C standard in the "C" locale (decimal and hexadecimal forms, "inf",
// "infinity", "nan"), correctly rounded; 0.0 when no number follows.
double atof(const char* text);
inline double atof(const std::string& text) { return atof(text.c_str()); }

// The low 32 bits of value as a signed integer.
inline std::int32_t lowBitsAsInt(unsigned long long value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value & 0xFFFFFFFFu));
}

// A real truncated toward zero to a 32-bit integer; INT_MIN when out of range or NaN.
std::int32_t truncateToInt(double value);

// Decimal text of value.
std::string intToText(int value);

}  // namespace KpXml::detail

#endif
