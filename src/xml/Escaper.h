#ifndef KPXML_SRC_XML_ESCAPER_H
#define KPXML_SRC_XML_ESCAPER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace kpxml {

// The writer's text escaper. Each byte of a text passes unchanged when it belongs to the safe set
// (space + , - . / 0-9 : A-Z _ a-z, and '=' when equals signs are allowed); any other byte becomes
// its entry in the document's escape map, or else "&#N;" with N the decimal UTF-16 unit of the byte
// in the ANSI code page (the byte's own value when the code page cannot convert it alone).
//
// The replacement of every byte is worked out once, when the escaper is built, so escaping a text
// is a table lookup per byte and one append per run of safe bytes.
class Escaper {
public:
    explicit Escaper(const std::map<char, std::string>& escapeMap);

    // Appends text, escaped, to out.
    void append(std::string& out, const char* text, std::size_t size, bool allowEquals) const;
    void append(std::string& out, const std::string& text, bool allowEquals) const {
        append(out, text.data(), text.size(), allowEquals);
    }

private:
    // Bits of byteClass.
    static constexpr std::uint8_t safeAlways = 1;     // passes in every text
    static constexpr std::uint8_t safeWithEquals = 2;  // passes where '=' is allowed

    std::array<std::uint8_t, 256> byteClass{};
    // The replacement of byte b is replacements[offsets[b], offsets[b + 1]).
    std::array<std::uint32_t, 257> offsets{};
    std::string replacements;
};

// The text with every "&quot;" replaced by one double quote. The search goes on after the inserted
// quote, so "&amp;quot;" stays as it is and "&quot;&quot;" gives two quotes.
std::string replaceQuotes(const std::string& text);

}  // namespace kpxml

#endif  // KPXML_SRC_XML_ESCAPER_H
