#ifndef KPXML_XML_ESCAPER_H
#define KPXML_XML_ESCAPER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace KpXml::detail {

// The writer's text escaper. Each byte of a text passes unchanged when it belongs to the safe set
// (space + , - . / 0-9 : A-Z _ a-z, and '=' when equals signs are allowed); any other byte becomes
// its entry in the document's escape map, or else "&#N;" with N the decimal UTF-16 unit of the byte
// in the ANSI code page (the byte's own value when the code page cannot convert it alone).
//
// The replacement of every byte is worked out once, when the escaper is built, so escaping a text
// is a table lookup per byte and one copy per run of safe bytes.
class Escaper {
public:
    explicit Escaper(const std::map<char, std::string>& escapeMap);

    // The escaper for escapeMap: for the map every document starts with, one escaper built on
    // first use and shared from then on; for any other map, one built into own and returned.
    static const Escaper& forMap(const std::map<char, std::string>& escapeMap, std::optional<Escaper>& own);
    // The map every document starts with: line feed, < > & " and ' to their entities.
    static const std::map<char, std::string>& defaultMap();

    // The most bytes that one byte of text can become.
    std::size_t maxExpansion() const { return longestReplacement; }
    // Writes text, escaped, at out, which has room for size * maxExpansion() bytes; returns the end.
    char* write(char* out, const char* text, std::size_t size, bool allowEquals) const;

private:
    // Bits of byteClass.
    static constexpr std::uint8_t safeAlways = 1;     // passes in every text
    static constexpr std::uint8_t safeWithEquals = 2;  // passes where '=' is allowed

    std::array<std::uint8_t, 256> byteClass{};
    // The replacement of byte b is replacements[offsets[b], offsets[b + 1]).
    std::array<std::uint32_t, 257> offsets{};
    std::string replacements;
    std::size_t longestReplacement = 1;
};

}  // namespace KpXml::detail

#endif  // KPXML_XML_ESCAPER_H
