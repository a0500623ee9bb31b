#include "xml/Escaper.h"

#include <algorithm>
#include <memory>

#include "platform/CodePage.h"
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

const Escaper::ClassTables& Escaper::classTables() {
    static const auto tables = [] {
        auto built = std::make_unique<ClassTables>();
        for (unsigned int code = 0; code < 256; ++code) {
            const auto byte = static_cast<unsigned char>(code);
            if (isSafeByte(byte)) {
                built->bytes[code] = safeAlways | safeWithEquals;
            } else if (byte == '=') {
                built->bytes[code] = safeWithEquals;
            }
        }
        for (std::size_t index = 0; index < built->pairs.size(); ++index) {
            built->pairs[index] = built->bytes[index & 0xFFu] & built->bytes[index >> 8];
        }
        return built;
    }();
    return *tables;
}

Escaper::Escaper(const std::map<char, std::string>& escapeMap)
    : byteClass(classTables().bytes.data()), pairClass(classTables().pairs.data()) {
    replacements.reserve(256 * 7);
    for (unsigned int code = 0; code < 256; ++code) {
        const auto byte = static_cast<unsigned char>(code);
        offsets[code] = static_cast<std::uint32_t>(replacements.size());
        if (isSafeByte(byte)) continue;
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
    if (escapeMap.empty() || escapeMap == defaultMap()) return shared;
    return own.emplace(escapeMap);
}

}  // namespace KpXml::detail
