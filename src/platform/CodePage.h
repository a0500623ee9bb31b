#ifndef KPXML_PLATFORM_CODEPAGE_H
#define KPXML_PLATFORM_CODEPAGE_H

// Conversions between UTF-16 and the system's ANSI code page, the encoding of narrow text.
//
// On Windows these are MultiByteToWideChar / WideCharToMultiByte with CP_ACP. Elsewhere the ANSI code
// page is Windows-1252, converted exactly as Windows converts it, best-fit mapping included.

#include <cstddef>
#include <string>

namespace KpXml::detail::platform {

// Converts one byte of the ANSI code page to one UTF-16 unit (as MultiByteToWideChar with
// MB_PRECOMPOSED and room for two units). Returns false when the byte cannot be converted on its
// own (a lead byte of a double-byte code page); unit is then left alone.
bool ansiByteToUtf16(unsigned char byte, char16_t& unit);

// Converts UTF-16 text to the ANSI code page with best-fit mapping (WideCharToMultiByte, no flags,
// no default character): a unit without an exact or best-fit byte, a lone surrogate among them,
// becomes '?'. Appends the result to out.
void utf16ToAnsi(const char16_t* units, std::size_t count, std::string& out);

// Converts ANSI text to UTF-16 (MultiByteToWideChar, no flags). Appends to out.
void ansiToUtf16(const char* bytes, std::size_t count, std::u16string& out);

// True when every byte converts to one unit and back to itself (a single-byte code page such as
// Windows-1252), so a caller may convert one unit and append it instead of round-tripping a whole
// text.
bool ansiRoundTripsEveryByte();

}  // namespace KpXml::detail::platform

#endif  // KPXML_PLATFORM_CODEPAGE_H
