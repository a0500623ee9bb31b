#ifndef KPXML_XML_REALFORMAT_H
#define KPXML_XML_REALFORMAT_H

#include <string>

namespace KpXml::detail {

// Longest text a formatted real may have (a 1024-character buffer with its terminator).
constexpr std::size_t maxFormattedRealLength = 1023;

// Prints value with a printf format that holds at most one conversion for a real (a A e E f F g G,
// flags "-+ #0", decimal width and precision, optional l or L) besides literal text and "%%".
// Returns false, leaving out empty, when the format is null or not such a format, or when the
// text would be longer than maxFormattedRealLength. The result is the same on every platform:
// non-finite values print as "inf"/"nan" ("INF"/"NAN" for upper-case conversions), signed by the
// sign bit.
bool formatReal(double value, const char* format, std::string& out);

// The value as printf "%.20g" prints it, with exact digits.
std::string realToText(double value);

}  // namespace KpXml::detail

#endif
