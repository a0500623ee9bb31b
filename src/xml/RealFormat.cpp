#include "xml/RealFormat.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "xml/TextConvert.h"

namespace KpXml::detail {
namespace {

// Precision beyond which "%g" prints the same digits: no double has more significant decimal
// digits than this (767 at most).
constexpr int exactDigitsLimit = 800;
// Any width or precision at least this large makes the text longer than a formatted real may be.
constexpr int tooLarge = 1100;

struct Conversion {
    bool leftAlign = false;
    bool plusSign = false;
    bool spaceSign = false;
    bool alternate = false;
    bool zeroPad = false;
    int width = 0;
    int precision = -1;  // -1: none given
    char kind = 'g';     // one of a A e E f F g G
};

// A width or precision: exact below tooLarge, at least tooLarge above.
int readCount(const char*& p) {
    return static_cast<int>(readDigits(p, tooLarge - 1));
}

bool isRealConversion(char c) { return std::strchr("aAeEfFgG", c) != nullptr && c != '\0'; }

// Splits format into the literal text before the conversion, the conversion and the literal text
// after it. False when the format is not one for at most one real.
bool parseFormat(const char* format, std::string& before, Conversion& conversion, bool& hasConversion,
                 std::string& after) {
    hasConversion = false;
    for (const char* p = format; *p != '\0'; ++p) {
        std::string& literal = hasConversion ? after : before;
        if (*p != '%') {
            literal += *p;
            continue;
        }
        ++p;
        if (*p == '%') {
            literal += '%';
            continue;
        }
        if (hasConversion) return false;
        for (;; ++p) {
            if (*p == '-') conversion.leftAlign = true;
            else if (*p == '+') conversion.plusSign = true;
            else if (*p == ' ') conversion.spaceSign = true;
            else if (*p == '#') conversion.alternate = true;
            else if (*p == '0') conversion.zeroPad = true;
            else break;
        }
        conversion.width = readCount(p);
        if (*p == '.') {
            ++p;
            conversion.precision = readCount(p);
        }
        if (*p == 'l' || *p == 'L') ++p;
        if (!isRealConversion(*p)) return false;
        conversion.kind = *p;
        hasConversion = true;
    }
    return true;
}

// Inserts a decimal point after the first digit when the number has none (the '#' flag).
void ensurePoint(std::string& digits, bool scientific) {
    if (digits.find('.') != std::string::npos) return;
    if (scientific) {
        digits.insert(1, 1, '.');
    } else {
        digits += '.';
    }
}

std::string toChars(double magnitude, std::chars_format format, int precision) {
    char buffer[2 * tooLarge];
    const auto result = precision < 0 ? std::to_chars(buffer, buffer + sizeof buffer, magnitude, format)
                                      : std::to_chars(buffer, buffer + sizeof buffer, magnitude, format, precision);
    return std::string(buffer, result.ptr);
}

// The digits of a finite, non-negative magnitude, without sign or "0x".
std::string finiteDigits(double magnitude, const Conversion& conversion) {
    const char kind = static_cast<char>(conversion.kind | 0x20);
    int precision = conversion.precision;
    std::string digits;
    switch (kind) {
    case 'f':
        digits = toChars(magnitude, std::chars_format::fixed, precision < 0 ? 6 : precision);
        if (conversion.alternate) ensurePoint(digits, false);
        break;
    case 'e':
        digits = toChars(magnitude, std::chars_format::scientific, precision < 0 ? 6 : precision);
        if (conversion.alternate) ensurePoint(digits, true);
        break;
    case 'a':
        digits = toChars(magnitude, std::chars_format::hex, precision);
        if (conversion.alternate) ensurePoint(digits, true);
        break;
    default: {  // 'g'
        if (precision < 0) precision = 6;
        if (precision == 0) precision = 1;
        if (!conversion.alternate) {
            digits = toChars(magnitude, std::chars_format::general, precision < exactDigitsLimit ? precision : exactDigitsLimit);
            break;
        }
        // '#': the style of "%g" but trailing zeros kept and a point always present.
        const std::string probe = toChars(magnitude, std::chars_format::scientific, precision - 1);
        const int exponent = atoi(probe.c_str() + probe.find('e') + 1);
        const bool fixed = precision > exponent && exponent >= -4;
        digits = fixed ? toChars(magnitude, std::chars_format::fixed, precision - 1 - exponent)
                       : probe;
        ensurePoint(digits, !fixed);
        break;
    }
    }
    return digits;
}

// The printed field for value: sign, "0x" for hexadecimal, digits, padded to the width.
std::string renderField(double value, const Conversion& conversion) {
    const bool upper = conversion.kind >= 'A' && conversion.kind <= 'Z';
    const bool finite = std::isfinite(value);
    std::string sign;
    if (std::signbit(value)) sign = "-";
    else if (conversion.plusSign) sign = "+";
    else if (conversion.spaceSign) sign = " ";

    std::string prefix;
    std::string digits;
    if (!finite) {
        digits = std::isnan(value) ? "nan" : "inf";
    } else {
        digits = finiteDigits(std::fabs(value), conversion);
        if ((conversion.kind | 0x20) == 'a') prefix = "0x";
    }
    if (upper) {
        if (!prefix.empty()) prefix = "0X";
        for (char& c : digits) {
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c & ~0x20);
        }
    }

    const std::size_t length = sign.size() + prefix.size() + digits.size();
    const std::size_t width = static_cast<std::size_t>(conversion.width);
    if (width <= length) return sign + prefix + digits;
    const std::size_t padding = width - length;
    if (conversion.leftAlign) return sign + prefix + digits + std::string(padding, ' ');
    if (conversion.zeroPad && finite) return sign + prefix + std::string(padding, '0') + digits;
    return std::string(padding, ' ') + sign + prefix + digits;
}

}  // namespace

bool formatReal(double value, const char* format, std::string& out) {
    out.clear();
    if (format == nullptr) return false;
    std::string before;
    std::string after;
    Conversion conversion;
    bool hasConversion = false;
    if (!parseFormat(format, before, conversion, hasConversion, after)) return false;
    if (hasConversion) {
        const bool keepsAllDigits = (conversion.kind | 0x20) != 'g' || conversion.alternate;
        if (conversion.width >= tooLarge || (keepsAllDigits && conversion.precision >= tooLarge)) {
            return false;
        }
    }
    std::string text = before;
    if (hasConversion) text += renderField(value, conversion);
    text += after;
    if (text.size() > maxFormattedRealLength) return false;
    out = std::move(text);
    return true;
}

std::string realToText(double value) {
    Conversion conversion;
    conversion.precision = 20;
    return renderField(value, conversion);
}

}  // namespace KpXml::detail
