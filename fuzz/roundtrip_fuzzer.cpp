// libFuzzer target: the input is decoded into a document built in memory (element names, texts
// and attributes with awkward bytes, escaped or written raw, nested to any depth, with any
// indentation unit), which is then written, read back and written again, twice: in memory, or
// saved to a file and read from it (text mode on every platform). Reading may lose or change
// things the first time (text before a child, control characters in text, everything after a
// byte 0x1A in a file), but the document it gives is one the writer reproduces: the second and
// the third text are equal.
//
// The writer prints element names, and texts and values whose entity flag is clear, as they are,
// so the caller must keep markup out of them; bytes that would be markup there are left out
// (see withoutMarkup). Escaped texts and values, and attribute names, may hold any byte.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "fileio/KpOFStream.h"
#include "kpxml/KpXmlTree.h"
#include "support/TestSupport.h"

namespace {

// Mostly short pieces of ordinary text and markup, sometimes any bytes.
std::string text(FuzzedDataProvider& in) {
    static const char* const textPieces[] = {"", "a", "b", "x y", "1.5", "a=b", "<", ">", "&", "&amp;",
                                          "&quot;", "\"", "'", "/", "\n", "\r\n", "\t", " ", "\x1a", "\xe4"};
    const std::size_t choice = in.ConsumeIntegralInRange<std::size_t>(0, std::size(textPieces));
    if (choice < std::size(textPieces)) return textPieces[choice];
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

void expect(bool condition) {
    if (!condition) __builtin_trap();
}

// The file that documents are saved to, in a private directory that is also the temporary one.
const std::string& savedFile() {
    struct Directory {
        std::string root;
        Directory() {
            const char* base = std::getenv("TMPDIR");
            root = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/kpxml_roundtrip_fuzz.XXXXXX";
            expect(mkdtemp(root.data()) != nullptr);
            KpXml::test::redirectTemporaryDirectory(root + "/");
            root += "/saved.xml";
        }
        ~Directory() { std::filesystem::remove_all(std::filesystem::path(root).parent_path()); }
    };
    static const Directory directory;
    return directory.root;
}

// What the writer gives for document: written to a string, or saved to the file and read back
// byte for byte.
std::string written(const KpXmlTree& document, bool throughFile) {
    if (!throughFile) {
        std::ostringstream out;
        document.putToStream(out, true);
        return out.str();
    }
    expect(document.writeFile(savedFile(), true));
    return KpXml::test::readBytes(savedFile());
}

// The document read from text (or from the file it was saved to), written again.
std::string rewritten(const std::string& text, bool throughFile, const std::string& indent) {
    const std::unique_ptr<std::istream> in =
        throughFile ? openIFStream(savedFile().c_str()) : std::make_unique<std::istringstream>(text);
    KpXmlTree document(*in);
    document.setIndent(indent);
    return written(document, throughFile);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    static const char* const indents[] = {"", "\t", " ", "   "};
    const std::string indent = indents[in.ConsumeIntegralInRange(0, 3)];
    const bool throughFile = in.ConsumeBool();

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

    const std::string first = written(document, throughFile);
    const std::string second = rewritten(first, throughFile, indent);
    const std::string third = rewritten(second, throughFile, indent);
    expect(second == third);
    return 0;
}
