// Comparing how KpXml and a standard XML reader read a file: the standard reader notes every
// construct that the KpXml dialect treats in its own way, KpXml itself is asked what it makes of
// each one, and finally the two trees are compared, so that nothing that differs goes unreported.
#include "Check.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <sstream>
#include <tuple>
#include <utility>
#include <vector>

#include <kpxml/KpXmlTree.h>

#include "Dump.h"
#include "InputFile.h"
#include "StandardReader.h"

namespace kpxmlcli {

namespace {

// The code as four upper-case hexadecimal digits.
std::string hexDigits(unsigned long code) {
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    for (int shift = 12; shift >= 0; shift -= 4) out += digits[(code >> shift) & 15];
    return out;
}

// What KpXml makes of markup met inside an element: "is dropped", "is read as element <NAME>"
// or "is read as text "TEXT"".
std::string readByKpXml(const std::string& markup) {
    std::istringstream in("<r>" + markup + "</r>");
    const KpXmlTree document(in);
    for (const KpXmlData* child : document.getRoot()->getChildren()) {
        if (child != nullptr) return "is read as element <" + shownName(child->getName()) + ">";
    }
    const std::string& text = document.getRoot()->getData();
    return text.empty() ? "is dropped" : "is read as text " + quoted(text);
}

// Element text as both readers keep it alike: without tabs and line breaks, and without the
// spaces at both ends.
std::string comparable(const std::string& text) {
    std::string kept;
    for (const char c : text) {
        if (c != '\t' && c != '\n' && c != '\r') kept += c;
    }
    const std::size_t first = kept.find_first_not_of(' ');
    if (first == std::string::npos) return "";
    return kept.substr(first, kept.find_last_not_of(' ') - first + 1);
}

// How the library writes bytes as text: the writer's escaped form of an element's text.
std::string writtenForm(const std::string& bytes) {
    KpXmlTree document("r");
    document.getRoot()->setData(bytes);
    document.setIndent("");
    std::ostringstream out;
    document.putToStream(out, false);
    const std::string written = out.str();
    const std::size_t start = written.find('>') + 1;
    const std::size_t end = written.rfind("</");
    return start < end && end != std::string::npos ? written.substr(start, end - start) : "";
}

// What a character reference of 128 or more stands for in KpXml; empty when it is the character
// the reference names. The writer writes the byte back as a reference to its code-page
// character, so a reference that comes back as written names the same character.
std::string explainReference(const std::string& reference) {
    std::istringstream in("<r>" + reference + "</r>");
    const std::string bytes = KpXmlTree(in).getRoot()->getData();
    if (bytes.empty()) return "character reference " + reference + " is dropped";
    const std::string written = writtenForm(bytes);
    const unsigned long code = std::strtoul(reference.c_str() + 2, nullptr, 10);
    if (written.compare(0, 2, "&#") == 0 && std::strtoul(written.c_str() + 2, nullptr, 10) == code) return "";
    if (code < 160 && bytes.size() == 1 && static_cast<unsigned char>(bytes[0]) == code) {
        return "character reference " + reference + " is read as the byte 0x" + hexDigits(code).substr(2) + ", which is " + written +
               " in the code page, not U+" + hexDigits(code);
    }
    const bool ascii = std::all_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    return "character reference " + reference + " has no character in the code page and is read as " + (ascii ? quoted(bytes) : written);
}

// The explanation for one construct; empty when KpXml reads it as a standard reader does.
Finding explain(const Construct& construct) {
    const std::string& name = construct.name;
    const auto data = [&construct](const std::string& what) { return Finding{construct.offset, 0, 0, what, false}; };
    const auto dropped = [&construct](const std::string& what) { return Finding{construct.offset, 0, 0, "note: " + what, true}; };
    switch (construct.kind) {
    case Construct::Comment:
    case Construct::ProcessingInstruction:
    case Construct::Doctype: {
        // The XML declaration is not an instruction; the writer writes its own.
        const bool declaration = construct.kind == Construct::ProcessingInstruction && construct.offset <= 3 &&
                                 construct.text.compare(0, 6, "<?xml ") == 0;
        if (declaration) return data("");
        const std::string kind = construct.kind == Construct::Comment ? "comment"
                                 : construct.kind == Construct::Doctype ? "DOCTYPE"
                                                                        : "processing instruction";
        const std::string read = readByKpXml(construct.text);
        return read == "is dropped" ? dropped(kind + " is dropped") : data(kind + " " + read);
    }
    case Construct::CData: {
        const std::string read = readByKpXml(construct.text);
        const bool lineBreak = construct.text.find_first_of("\n\r") != std::string::npos;
        if (lineBreak && read.compare(0, 19, "is read as element ") == 0) {
            return data("CDATA section " + read + ": its line break becomes part of the element name");
        }
        return data("CDATA section " + read);
    }
    case Construct::ByteOrderMark:
        return dropped("UTF-8 byte order mark is dropped");
    case Construct::LineFeedInTag:
        return data("line feed inside tag <" + name + "> becomes part of a name (only spaces and tabs separate)");
    case Construct::BlankInEndTag:
        return data("end tag </" + name + "> with a blank before '>' is not recognised");
    case Construct::GreaterThanInValue:
        return data("'>' in the value of attribute " + name + " ends the tag");
    case Construct::SingleQuotes:
        return data("value of attribute " + name + " in single quotes is not read (only double quotes delimit values)");
    case Construct::BreakInValue:
        return data("tab or line break in the value of attribute " + name + " is kept (a standard reader reads a space)");
    case Construct::QuoteReferenceInValue:
        return data(construct.text + " in the value of attribute " + name + " ends the value");
    case Construct::QuotInText:
        return data("&quot; in text stays as the six characters &quot;");
    case Construct::TextBeforeChild:
        return data("text " + quoted(construct.text) + " before child <" + name + "> is lost");
    case Construct::BreakInText:
        return data("tab or line break inside text is dropped, joining the lines");
    case Construct::BreakReferenceInText:
        return data("character reference " + construct.text + " in text is dropped");
    case Construct::GreaterThanInText:
        return data("'>' in text is dropped");
    case Construct::HexReference:
        return data("hexadecimal character reference " + construct.text + " is read as a zero byte");
    case Construct::UnknownEntity:
        if (std::string("aglq").find(construct.text[1]) != std::string::npos) {
            return data("unknown entity " + construct.text + " is read as a zero byte");
        }
        return data("unknown entity " + construct.text + " is dropped with the text after it up to the next '#', 'a', 'g', 'l' or 'q'");
    case Construct::WideReference:
        return data(explainReference(construct.text));
    case Construct::UnmatchedEndTag:
        if (construct.text.empty()) return data("end tag </" + name + "> outside any element is ignored");
        return data("end tag </" + name + "> does not match <" + construct.text + "> and is ignored");
    case Construct::SecondRoot:
        return data("element <" + name + "> after the root element becomes a child of the root");
    case Construct::EightBitText:
        if (construct.text == "WINDOWS-1252" || construct.text == "ISO-8859-1" || construct.text == "LATIN1") return data("");
        return data("bytes above 127 are read one by one as characters of the code page, not as " + construct.text);
    case Construct::NotWellFormed:
        return data("not well-formed: " + construct.text);
    }
    return data("");
}

// How KpXml's element differs from the standard one; empty when they agree (children aside).
std::string difference(const StandardElement& standard, const KpXmlData& read) {
    if (read.getName() != standard.name) return "is read with the name <" + shownName(read.getName()) + ">";
    std::vector<std::pair<std::string, std::string>> attributes;
    for (const KpXmlAttributeData* attribute : read.getAttributes()) {
        if (attribute != nullptr) attributes.emplace_back(attribute->getName(), attribute->getData());
    }
    if (attributes != standard.attributes) return "is read with other attributes";
    if (comparable(read.getData()) != comparable(standard.text)) {
        return "has the text " + quoted(comparable(read.getData())) + " instead of " + quoted(comparable(standard.text));
    }
    std::size_t children = 0;
    for (const KpXmlData* child : read.getChildren()) children += child != nullptr ? 1 : 0;
    if (children != standard.children.size()) {
        return "has " + std::to_string(children) + " child elements instead of " + std::to_string(standard.children.size());
    }
    return "";
}

// Compares the trees element by element, in document order; returns the first difference as the
// offset of the element's tag and a line of explanation, or an empty explanation.
std::pair<std::size_t, std::string> firstDifference(const StandardDocument& standard, const KpXmlData& root) {
    std::vector<std::pair<std::size_t, const KpXmlData*>> pending{{0, &root}};
    while (!pending.empty()) {
        const auto [index, read] = pending.back();
        pending.pop_back();
        const StandardElement& element = standard.elements[index];
        const std::string what = difference(element, *read);
        if (!what.empty()) return {element.offset, "element <" + element.name + "> " + what};
        std::vector<const KpXmlData*> children;
        for (const KpXmlData* child : read->getChildren()) {
            if (child != nullptr) children.push_back(child);
        }
        for (std::size_t i = children.size(); i-- > 0;) pending.emplace_back(element.children[i], children[i]);
    }
    return {0, ""};
}

// Pairs each element of the library's tree with the standard reader's element in the same
// place, as long as both have the same number of children.
std::map<const KpXmlData*, std::size_t> matchElements(const StandardDocument& standard, const KpXmlData& root) {
    std::map<const KpXmlData*, std::size_t> offsets;
    if (standard.elements.empty()) return offsets;
    std::vector<std::pair<std::size_t, const KpXmlData*>> pending{{0, &root}};
    while (!pending.empty()) {
        const auto [index, read] = pending.back();
        pending.pop_back();
        const StandardElement& element = standard.elements[index];
        offsets[read] = element.offset;
        std::vector<const KpXmlData*> children;
        for (const KpXmlData* child : read->getChildren()) {
            if (child != nullptr) children.push_back(child);
        }
        if (children.size() != element.children.size()) continue;
        for (std::size_t i = 0; i < children.size(); ++i) pending.emplace_back(element.children[i], children[i]);
    }
    return offsets;
}

}  // namespace

std::size_t Analysis::count(bool strict) const {
    return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(), [strict](const Finding& finding) { return strict || !finding.note; }));
}

std::pair<std::size_t, std::size_t> Analysis::lineAndColumn(std::size_t offset) const {
    const std::size_t line = static_cast<std::size_t>(std::upper_bound(lineStarts.begin(), lineStarts.end(), offset) - lineStarts.begin());
    return {line, offset - lineStarts[line - 1] + 1};
}

Analysis analyse(const std::string& text, const KpXmlTree& document) {
    std::map<unsigned, std::string> wideCharacters;
    const auto wideCharacter = [&wideCharacters](unsigned code) {
        const auto known = wideCharacters.find(code);
        if (known != wideCharacters.end()) return known->second;
        std::istringstream in("<r>&#" + std::to_string(code) + ";</r>");
        return wideCharacters[code] = KpXmlTree(in).getRoot()->getData();
    };
    const StandardDocument standard = readStandard(text, wideCharacter);

    Analysis analysis;
    analysis.lineStarts.push_back(0);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') analysis.lineStarts.push_back(i + 1);
    }
    for (const Construct& construct : standard.constructs) {
        Finding finding = explain(construct);
        if (!finding.what.empty()) analysis.findings.push_back(std::move(finding));
    }
    const KpXmlData* root = document.getRoot();
    // Every difference in the trees comes from a construct already reported; when none was, the
    // comparison still catches one that nothing above explains.
    if (root != nullptr && analysis.count(false) == 0) {
        const auto [offset, what] = firstDifference(standard, *root);
        if (!what.empty()) analysis.findings.push_back(Finding{offset, 0, 0, what, false});
    }
    std::stable_sort(analysis.findings.begin(), analysis.findings.end(),
                     [](const Finding& a, const Finding& b) { return a.offset < b.offset; });
    for (Finding& finding : analysis.findings) std::tie(finding.line, finding.column) = analysis.lineAndColumn(finding.offset);
    if (root != nullptr) analysis.elementOffsets = matchElements(standard, *root);
    return analysis;
}

int checkFile(const std::string& path, bool strict, std::ostream& out, std::ostream& errors) {
    std::string text;
    std::string reason;
    if (!readInput(path, text, reason)) {
        errors << "kpxml: " << path << ": " << reason << "\n";
        return 1;
    }
    KpXmlTree document;
    parseText(text, "kpxml: parsing " + path, document);
    const Analysis analysis = analyse(text, document);
    for (const Finding& finding : analysis.findings) {
        out << path << ":" << finding.line << ":" << finding.column << ": " << finding.what << "\n";
    }
    return analysis.count(strict) != 0 ? 1 : 0;
}

}  // namespace kpxmlcli
