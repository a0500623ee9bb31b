// Showing a tree as KpXml holds it: one element per line, every byte visible.
#include "Dump.h"

#include <utility>
#include <vector>

#include <kpxml/KpXmlData.h>

namespace kpxmlcli {

namespace {

void appendHex(std::string& out, unsigned char byte) {
    static const char digits[] = "0123456789ABCDEF";
    out += "\\x";
    out += digits[byte >> 4];
    out += digits[byte & 15];
}

}  // namespace

std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
        case '\n': out += "\\n"; break;
        case '\t': out += "\\t"; break;
        case '\r': out += "\\r"; break;
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        default:
            if (byte < 0x20 || byte >= 0x7f) {
                appendHex(out, byte);
            } else {
                out += c;
            }
        }
    }
    return out + "\"";
}

std::string shownName(const std::string& name) {
    std::string out;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte <= 0x20 || byte >= 0x7f || c == '"' || c == '=' || c == '<' || c == '>' || c == '\\') {
            appendHex(out, byte);
        } else {
            out += c;
        }
    }
    return out;
}

void dumpTree(std::ostream& out, const KpXmlData& node) {
    // Depth-first with an explicit stack, so any depth can be shown.
    std::vector<std::pair<const KpXmlData*, std::size_t>> pending{{&node, 0}};
    while (!pending.empty()) {
        const auto [element, depth] = pending.back();
        pending.pop_back();
        std::string line(2 * depth, ' ');
        line += "<" + shownName(element->getName());
        for (const KpXmlAttributeData* attribute : element->getAttributes()) {
            if (attribute != nullptr) line += " " + shownName(attribute->getName()) + "=" + quoted(attribute->getData());
        }
        line += ">";
        if (!element->getData().empty()) line += " " + quoted(element->getData());
        out << line << "\n";
        const std::vector<KpXmlData*>& children = element->getChildren();
        for (auto child = children.rbegin(); child != children.rend(); ++child) {
            if (*child != nullptr) pending.emplace_back(*child, depth + 1);
        }
    }
}

}  // namespace kpxmlcli
