#ifndef KPXML_XML_ESCAPER_H
#define KPXML_XML_ESCAPER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <string>

#include "xml/ShortCopy.h"

namespace KpXml::detail {

// The writer's text escaper. Each byte of a text passes unchanged when it belongs to the safe set
// (space + , - . / 0-9 : A-Z _ a-z, and '=' when equals signs are allowed); any other byte becomes
// its entry in the document's escape map, or else "&#N;" with N the decimal UTF-16 unit of the byte
// in the ANSI code page (the byte's own value when the code page cannot convert it alone).
//
// The replacement of every byte is worked out once, when the escaper is built, so escaping a text
// is a table lookup per two bytes, one store per four safe bytes and a copy per replaced byte.
class Escaper {
public:
    explicit Escaper(const std::map<char, std::string>& escapeMap);

    // The escaper for escapeMap: for the map every document starts with (or an empty map, which
    // stands for it), one escaper built on first use and shared from then on; for any other map,
    // one built into own and returned.
    static const Escaper& forMap(const std::map<char, std::string>& escapeMap, std::optional<Escaper>& own);
    // The map every document starts with: line feed, < > & " and ' to their entities.
    static const std::map<char, std::string>& defaultMap();

    // The most bytes that one byte of text can become.
    std::size_t maxExpansion() const { return longestReplacement; }
    // Writes text, escaped, at out, which has room for size * maxExpansion() bytes; returns the end.
    // Inline: the writer calls it for every name, value and text, most of them a few bytes long,
    // where a call costs about as much as the escaping.
    char* write(char* out, const char* text, std::size_t size, bool allowEquals) const;

private:
    // Bits of byteClass.
    static constexpr std::uint8_t safeAlways = 1;     // passes in every text
    static constexpr std::uint8_t safeWithEquals = 2;  // passes where '=' is allowed

    // The class of every byte, and of every two bytes at once: entry b0 + 256 * b1 of pairs is
    // bytes[b0] & bytes[b1], the same either way round, so the order of the bytes in a loaded
    // word does not matter. The classes depend on the safe set only: one pair of tables serves
    // every escaper.
    struct ClassTables {
        std::array<std::uint8_t, 256> bytes{};
        std::array<std::uint8_t, 65536> pairs{};
    };
    static const ClassTables& classTables();

    const std::uint8_t* byteClass;
    const std::uint8_t* pairClass;
    // The replacement of byte b is replacements[offsets[b], offsets[b + 1]).
    std::array<std::uint32_t, 257> offsets{};
    std::string replacements;
    std::size_t longestReplacement = 1;
};

inline char* Escaper::write(char* out, const char* text, std::size_t size, bool allowEquals) const {
    const std::uint8_t passMask = allowEquals ? safeWithEquals : safeAlways;
    // Whether all four bytes from start pass: one load and two lookups.
    const auto passes = [&](const char* start) {
        std::uint32_t group;
        std::memcpy(&group, start, 4);
        return (pairClass[group & 0xFFFFu] & pairClass[group >> 16] & passMask) != 0;
    };
    // What the stores ahead rely on, true at the top of each loop round: every byte before p has
    // been written, and out - start <= (p - text) * maxExpansion(), so that with n bytes of text left
    // there are at least n * maxExpansion() bytes of room from out.
    // - A group of four is stored before it is checked: the round needs end - p >= 4, so the store
    //   stays inside the room even when every byte of the group turns out to need no output at all.
    // - When a group fails, the bytes of it before the failing one are already stored in place (one
    //   output byte each), so out only moves past them; the failing byte's replacement overwrites
    //   the rest of the store.
    const char* p = text;
    const char* const end = text + size;
    // Most bytes (names, numbers, words) pass: four at a time, each group with one load and one store.
    while (end - p >= 4) {
        std::memcpy(out, p, 4);
        if (passes(p)) {
            p += 4;
            out += 4;
            continue;
        }
        // The bytes before the first one that does not pass are already out; the rest is overwritten.
        for (; (byteClass[static_cast<unsigned char>(*p)] & passMask) != 0; ++p) ++out;
        const auto byte = static_cast<unsigned char>(*p++);
        out = copyBytes(out, replacements.data() + offsets[byte], offsets[byte + 1u] - offsets[byte]);
    }
    if (p == end) return out;
    // Fewer than four bytes are left. When the four bytes that end the text all pass, those before
    // p among them (end - 4 to p) went out unchanged, one output byte each, and were the last bytes
    // written: out steps back over them and the four are stored again from the first of them. This
    // needs size >= 4 (end - 4 inside the text), and it writes only where output went already or is
    // due: it ends exactly where the byte-by-byte tail would.
    if (size >= 4 && passes(end - 4)) {
        out -= p - (end - 4);
        std::memcpy(out, end - 4, 4);
        return out + 4;
    }
    for (; p != end; ++p) {
        const auto byte = static_cast<unsigned char>(*p);
        if ((byteClass[byte] & passMask) != 0) {
            *out++ = static_cast<char>(byte);
        } else {
            out = copyBytes(out, replacements.data() + offsets[byte], offsets[byte + 1u] - offsets[byte]);
        }
    }
    return out;
}

}  // namespace KpXml::detail

#endif  // KPXML_XML_ESCAPER_H
