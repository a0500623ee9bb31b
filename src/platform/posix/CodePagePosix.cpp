// The ANSI code page on POSIX: Windows-1252, converted exactly as MultiByteToWideChar /
// WideCharToMultiByte convert it on Windows. The tables are generated from the real calls by
// tools/codepage/generate.sh.

#include "platform/CodePage.h"

#include <array>

namespace KpXml::detail::platform {
namespace {

#include "Cp1252Tables.inc"

using UnitToByteTable = std::array<unsigned char, 0x10000>;

// Unit -> byte for all 65,536 units, built once (thread-safe as a function-local static).
const UnitToByteTable& unitToByteTable() {
    static const UnitToByteTable table = [] {
        UnitToByteTable t;
        t.fill(cp1252UnmappedByte);
        for (const Cp1252BestFit& entry : cp1252BestFit) t[entry.unit] = entry.byte;
        return t;
    }();
    return table;
}

}  // namespace

bool ansiByteToUtf16(unsigned char byte, char16_t& unit) {
    unit = cp1252ByteToUnit[byte];
    return true;
}

// Every unit converts on its own: Windows gives two '?' for a surrogate pair too.
void utf16ToAnsi(const char16_t* units, std::size_t count, std::string& out) {
    const UnitToByteTable& table = unitToByteTable();
    const std::size_t start = out.size();
    out.resize(start + count);
    for (std::size_t i = 0; i < count; ++i) out[start + i] = static_cast<char>(table[units[i]]);
}

void ansiToUtf16(const char* bytes, std::size_t count, std::u16string& out) {
    const std::size_t start = out.size();
    out.resize(start + count);
    for (std::size_t i = 0; i < count; ++i)
        out[start + i] = cp1252ByteToUnit[static_cast<unsigned char>(bytes[i])];
}

bool ansiRoundTripsEveryByte() {
    static const bool roundTrips = [] {
        const UnitToByteTable& table = unitToByteTable();
        for (unsigned b = 0; b < 256; ++b)
            if (table[cp1252ByteToUnit[b]] != b) return false;
        return true;
    }();
    return roundTrips;
}

}  // namespace KpXml::detail::platform
