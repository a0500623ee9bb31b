// The ANSI code page on Windows: MultiByteToWideChar / WideCharToMultiByte with CP_ACP.

#include "platform/CodePage.h"

#include "platform/win32/WindowsApi.h"

#include <algorithm>
#include <climits>

namespace KpXml::detail::platform {
namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t), "UTF-16 wchar_t expected");

// The Win32 calls take int lengths; longer texts go in pieces of at most this many units or bytes.
constexpr std::size_t maxPiece = INT_MAX / 4;

// Window at the end of a piece searched for a place where a character cannot continue.
constexpr std::size_t boundarySearch = 64;

// Length of the next piece of UTF-16 text: never ends between the units of a surrogate pair.
std::size_t unitPiece(const char16_t* units, std::size_t count) {
    if (count <= maxPiece) return count;
    std::size_t n = maxPiece;
    if (units[n - 1] >= 0xD800 && units[n - 1] <= 0xDBFF) --n;
    return n;
}

// Length of the next piece of ANSI text: ends, when it can, just after a byte below 0x40, which
// neither continues a UTF-8 sequence nor is the trail byte of a double-byte character.
std::size_t bytePiece(const char* bytes, std::size_t count) {
    if (count <= maxPiece) return count;
    for (std::size_t n = maxPiece; n > maxPiece - boundarySearch; --n)
        if (static_cast<unsigned char>(bytes[n - 1]) < 0x40) return n;
    return maxPiece;
}

void appendAnsi(const char16_t* units, int count, std::string& out) {
    const wchar_t* in = reinterpret_cast<const wchar_t*>(units);
    const int size = WideCharToMultiByte(CP_ACP, 0, in, count, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return;
    const std::size_t start = out.size();
    out.resize(start + static_cast<std::size_t>(size));
    const int written =
        WideCharToMultiByte(CP_ACP, 0, in, count, &out[start], size, nullptr, nullptr);
    out.resize(start + static_cast<std::size_t>(std::max(written, 0)));
}

void appendUtf16(const char* bytes, int count, std::u16string& out) {
    const int size = MultiByteToWideChar(CP_ACP, 0, bytes, count, nullptr, 0);
    if (size <= 0) return;
    const std::size_t start = out.size();
    out.resize(start + static_cast<std::size_t>(size));
    wchar_t* dest = reinterpret_cast<wchar_t*>(&out[start]);
    const int written = MultiByteToWideChar(CP_ACP, 0, bytes, count, dest, size);
    out.resize(start + static_cast<std::size_t>(std::max(written, 0)));
}

}  // namespace

bool ansiByteToUtf16(unsigned char byte, char16_t& unit) {
    if (IsDBCSLeadByteEx(CP_ACP, byte)) return false;
    const char in = static_cast<char>(byte);
    wchar_t converted[2] = {0, 0};
    if (MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, &in, 1, converted, 2) != 1) return false;
    unit = static_cast<char16_t>(converted[0]);
    return true;
}

void utf16ToAnsi(const char16_t* units, std::size_t count, std::string& out) {
    while (count > 0) {
        const std::size_t n = unitPiece(units, count);
        appendAnsi(units, static_cast<int>(n), out);
        units += n;
        count -= n;
    }
}

void ansiToUtf16(const char* bytes, std::size_t count, std::u16string& out) {
    while (count > 0) {
        const std::size_t n = bytePiece(bytes, count);
        appendUtf16(bytes, static_cast<int>(n), out);
        bytes += n;
        count -= n;
    }
}

bool ansiRoundTripsEveryByte() {
    static const bool roundTrips = [] {
        CPINFO info;
        if (!GetCPInfo(CP_ACP, &info) || info.MaxCharSize != 1) return false;
        for (unsigned b = 0; b < 256; ++b) {
            char16_t unit = 0;
            if (!ansiByteToUtf16(static_cast<unsigned char>(b), unit)) return false;
            const wchar_t in = static_cast<wchar_t>(unit);
            char back[4] = {};
            if (WideCharToMultiByte(CP_ACP, 0, &in, 1, back, sizeof back, nullptr, nullptr) != 1 ||
                static_cast<unsigned char>(back[0]) != b)
                return false;
        }
        return true;
    }();
    return roundTrips;
}

}  // namespace KpXml::detail::platform
