// libFuzzer target: the input is decoded into a document built in memory (element names, texts
// and attributes with awkward bytes, escaped or written raw, nested to any depth, with any
// indentation unit), which is then written, read back and written again, twice. Reading may lose
// or change things the first time (text before a child, control characters in text), but the
// document it gives is one the writer reproduces: the second and the third text are equal.
//
// The writer prints element names, and texts and values whose entity flag is clear, as they are,
// so the caller must keep markup out of them; bytes that would be markup there are left out
// (see withoutMarkup). Escaped texts and values, and attribute names, may hold any byte.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include <kpxml/KpXmlTree.h>

namespace {

// Mostly short pieces of ordinary text and markup, sometimes any bytes.
std::string text(FuzzedDataProvider& in) {
    static const char* const kPieces[] = {"", "a", "b", "x y", "1.5", "a=b", "<", ">", "&", "&amp;",
                                          "&quot;", "\"", "'", "/", "\n", "\r\n", "\t", " ", "\x1a", "\xe4"};
    const std::size_t choice = in.ConsumeIntegralInRange<std::size_t>(0, std::size(kPieces));
    if (choice < std::size(kPieces)) return kPieces[choice];
    return in.ConsumeRandomLengthString(40);
}

// text without the bytes in markup.
std::string withoutMarkup(std::string text, const char* markup) {
    text.erase(std::remove_if(text.begin(), text.end(), [markup](char c) { return std::strchr(markup, c) != nullptr && c != '\0'; }),
               text.end());
    return text;
}

// An element name: markup, blanks and the slash end or break a tag; a tag that starts with '?'
// is skipped as a declaration, and one without a name ends the document.
std::string elementName(FuzzedDataProvider& in) {
    std::string name = withoutMarkup(text(in), "&<> \t/");
    if (name.empty() || name[0] == '?') name.insert(0, "e");
    return name;
}

// An attribute name is escaped, but blanks and the equals sign end it once read back.
std::string attributeName(FuzzedDataProvider& in) {
    return withoutMarkup(text(in), " \t=");
}

std::string written(const KpXmlTree& document) {
    std::ostringstream out;
    document.putToStream(out, true);
    return out.str();
}

std::string rewritten(const std::string& previous, const std::string& indent) {
    std::istringstream in(previous);
    KpXmlTree document(in);
    document.setIndent(indent);
    return written(document);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    static const char* const kIndents[] = {"", "\t", " ", "   "};
    const std::string indent = kIndents[in.ConsumeIntegralInRange(0, 3)];

    KpXmlTree document(elementName(in));
    document.setIndent(indent);
    std::vector<KpXmlData*> open{document.getRoot()};  // the path from the root to the node being built
    for (int step = 0; step < 4000 && in.remaining_bytes() > 0; ++step) {
        KpXmlData* node = open.back();
        switch (in.ConsumeIntegralInRange(0, 4)) {
            case 0: open.push_back(node->createChild(elementName(in))); break;
            case 1:
                if (open.size() > 1) open.pop_back();
                break;
            case 2: {
                const bool escaped = in.ConsumeBool();
                node->setData(escaped ? text(in) : withoutMarkup(text(in), "<&\""));
                node->setEntityFlag(escaped);
                break;
            }
            case 3: {
                const std::string name = attributeName(in);
                const bool escaped = in.ConsumeBool();
                node->setAttribute(name, escaped ? text(in) : withoutMarkup(text(in), "\"<>&"), escaped);
                break;
            }
            default: node->createChild(elementName(in))->setData(text(in)); break;
        }
    }

    const std::string first = written(document);
    const std::string second = rewritten(first, indent);
    const std::string third = rewritten(second, indent);
    if (second != third) __builtin_trap();
    return 0;
}
