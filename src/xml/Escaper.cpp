#include "xml/Escaper.h"

#include <algorithm>
#include <cstring>

#include "platform/CodePage.h"
#include "xml/ShortCopy.h"
#include "xml/TextConvert.h"

namespace KpXml::detail {

namespace {

bool isSafeByte(unsigned char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == ' ' || byte == '+' || byte == ',' || byte == '-' || byte == '.' || byte == '/' ||
           byte == ':' || byte == '_';
}

// Appends "&#N;" with N in decimal.
void appendCharacterReference(std::string& out, unsigned int code) {
    out += "&#";
    out += intToText(static_cast<int>(code));
    out += ';';
}

}  // namespace

Escaper::Escaper(const std::map<char, std::string>& escapeMap) {
    replacements.reserve(256 * 7);
    for (unsigned int code = 0; code < 256; ++code) {
        const auto byte = static_cast<unsigned char>(code);
        offsets[code] = static_cast<std::uint32_t>(replacements.size());
        if (isSafeByte(byte)) {
            byteClass[code] = safeAlways | safeWithEquals;
            continue;
        }
        if (byte == '=') byteClass[code] = safeWithEquals;
        const auto mapped = escapeMap.find(static_cast<char>(byte));
        if (mapped != escapeMap.end()) {
            replacements += mapped->second;
            continue;
        }
        char16_t unit = 0;
        appendCharacterReference(replacements, platform::ansiByteToUtf16(byte, unit) ? unit : code);
    }
    offsets[256] = static_cast<std::uint32_t>(replacements.size());
    for (unsigned int code = 0; code < 256; ++code) {
        longestReplacement = std::max<std::size_t>(longestReplacement, offsets[code + 1] - offsets[code]);
    }
}

const std::map<char, std::string>& Escaper::defaultMap() {
    static const std::map<char, std::string> entities{{'\n', "&#x000a;"}, {'<', "&lt;"},    {'>', "&gt;"},
                                                      {'&', "&amp;"},      {'"', "&quot;"}, {'\'', "&apos;"}};
    return entities;
}

const Escaper& Escaper::forMap(const std::map<char, std::string>& escapeMap, std::optional<Escaper>& own) {
    // The code page, the other input of the tables, stays the same for the life of the process.
    static const Escaper shared(defaultMap());
    if (escapeMap == defaultMap()) return shared;
    return own.emplace(escapeMap);
}

char* Escaper::write(char* out, const char* text, std::size_t size, bool allowEquals) const {
    const std::uint8_t passMask = allowEquals ? safeWithEquals : safeAlways;
    const auto passes = [&](const char* at) {
        return (byteClass[static_cast<unsigned char>(at[0])] & byteClass[static_cast<unsigned char>(at[1])] &
                byteClass[static_cast<unsigned char>(at[2])] & byteClass[static_cast<unsigned char>(at[3])] & passMask) != 0;
    };
    const char* p = text;
    const char* const end = text + size;
    const char* copiedFrom = text;  // the bytes from here to p went out unchanged
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
        copiedFrom = p;
    }
    if (p == end) return out;
    // Fewer than four bytes are left. When the four bytes that end the text all pass and those
    // before p among them went out unchanged, the last four output bytes are the same group again.
    if (end - copiedFrom >= 4 && passes(end - 4)) {
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
