#include "xml/TextConvert.h"

#include <charconv>
#include <climits>
#include <cstring>
#include <limits>

namespace KpXml::detail {
namespace {

const char* skipSpace(const char* p) {
    while (isSpace(*p)) {
        ++p;
    }
    return p;
}

bool isHexDigit(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

int hexValue(char c) {
    if (isDigit(c)) return c - '0';
    return (c | 0x20) - 'a' + 10;
}

// Reads an optional '+' or '-' at p and moves past it; true for '-'.
bool readSign(const char*& p) {
    if (*p != '+' && *p != '-') return false;
    return *p++ == '-';
}

// Reads an optionally signed decimal exponent, saturating far outside any double's range.
long readExponent(const char* p) {
    const bool negative = readSign(p);
    const long value = static_cast<long>(readDigits(p, 999999));
    return negative ? -value : value;
}

// For a number that from_chars found out of range: whether its magnitude is huge (overflow) rather
// than tiny (underflow). The estimate of the exponent is within one of the true one, far from the
// range limits either way.
bool magnitudeIsHuge(const char* p, const char* end, bool hex) {
    const char exponentMark = hex ? 'p' : 'e';
    long scale = 0;  // the number is about base^scale
    bool seenNonZero = false;
    bool afterPoint = false;
    for (; p < end; ++p) {
        const char c = *p;
        if (c == '.') {
            afterPoint = true;
            continue;
        }
        if ((c | 0x20) == exponentMark) break;
        const bool digit = hex ? isHexDigit(c) : isDigit(c);
        if (!digit) break;
        const int value = hex ? hexValue(c) : c - '0';
        if (!seenNonZero && value == 0) {
            if (afterPoint) --scale;
            continue;
        }
        if (!seenNonZero) {
            seenNonZero = true;
            if (afterPoint) --scale;
        } else if (!afterPoint) {
            ++scale;
        }
    }
    // from_chars took the exponent's digits whole, so they end at end.
    long exponent = (p < end && (*p | 0x20) == exponentMark) ? readExponent(p + 1) : 0;
    // Hexadecimal digits count 4 binary places each; the exponent is binary.
    if (hex) return scale * 4 + exponent > 0;
    return scale + exponent > 0;
}

}  // namespace

long long readDigits(const char*& p, long long limit) {
    long long value = 0;
    for (; isDigit(*p); ++p) {
        if (value <= limit) value = value * 10 + (*p - '0');
    }
    return value;
}

int atoi(const char* text) {
    const char* p = skipSpace(text);
    const bool negative = readSign(p);
    // Exact up to INT_MAX + 1, so that INT_MIN is reachable; saturate beyond.
    const long long value = readDigits(p, static_cast<long long>(INT_MAX) + 1);
    if (negative) return value > static_cast<long long>(INT_MAX) + 1 ? INT_MIN : static_cast<int>(-value);
    return value > INT_MAX ? INT_MAX : static_cast<int>(value);
}

double atof(const char* text) {
    const char* p = skipSpace(text);
    const bool negative = readSign(p);
    const char* end = p + std::strlen(p);
    double value = 0.0;

    const bool hex = p[0] == '0' && (p[1] | 0x20) == 'x' &&
                     (isHexDigit(p[2]) || (p[2] == '.' && isHexDigit(p[3])));
    const char* digits = hex ? p + 2 : p;
    // from_chars takes no sign of its own here: the sign was read above, and a second one ends the number.
    if (*digits == '-' || *digits == '+') return 0.0;
    const auto format = hex ? std::chars_format::hex : std::chars_format::general;
    const auto result = std::from_chars(digits, end, value, format);
    if (result.ec == std::errc::result_out_of_range) {
        value = magnitudeIsHuge(digits, result.ptr, hex) ? std::numeric_limits<double>::infinity() : 0.0;
    } else if (result.ec != std::errc()) {
        return 0.0;
    }
    return negative ? -value : value;
}

std::int32_t truncateToInt(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) {
        return INT_MIN;
    }
    return static_cast<std::int32_t>(value);
}

std::string intToText(int value) {
    char buffer[16];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

}  // namespace KpXml::detail
