// Comparing how KpXml and a standard XML reader read a file: the standard reader notes every
// construct that the KpXml dialect treats in its own way, KpXml itself is asked what it makes of
// each one, and finally the two trees are compared, so that nothing that differs goes unreported.
#include "Check.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

#include <kpxml/KpXmlTree.h>

#include "Dump.h"
#include "InputFile.h"
#include "StandardReader.h"

namespace kpxmlcli {

namespace {

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

// The line of explanation for one construct; empty when KpXml reads it as a standard reader does.
std::string explain(const Construct& construct) {
    const std::string& name = construct.name;
    switch (construct.kind) {
    case Construct::Comment:
        return "comment " + readByKpXml(construct.text);
    case Construct::CData:
        return "CDATA section " + readByKpXml(construct.text);
    case Construct::ProcessingInstruction:
    case Construct::Doctype: {
        const std::string read = readByKpXml(construct.text);
        if (read == "is dropped") return "";
        return (construct.kind == Construct::Doctype ? "DOCTYPE " : "processing instruction ") + read;
    }
    case Construct::LineFeedInTag:
        return "line feed inside tag <" + name + "> becomes part of a name (only spaces and tabs separate)";
    case Construct::BlankInEndTag:
        return "end tag </" + name + "> with a blank before '>' is not recognised";
    case Construct::GreaterThanInValue:
        return "'>' in the value of attribute " + name + " ends the tag";
    case Construct::SingleQuotes:
        return "value of attribute " + name + " in single quotes is not read (only double quotes delimit values)";
    case Construct::BreakInValue:
        return "tab or line break in the value of attribute " + name + " is kept (a standard reader reads a space)";
    case Construct::QuoteReferenceInValue:
        return construct.text + " in the value of attribute " + name + " ends the value";
    case Construct::QuotInText:
        return "&quot; in text stays as the six characters &quot;";
    case Construct::TextBeforeChild:
        return "text " + quoted(construct.text) + " before child <" + name + "> is lost";
    case Construct::BreakInText:
        return "tab or line break inside text is dropped, joining the lines";
    case Construct::BreakReferenceInText:
        return "character reference " + construct.text + " in text is dropped";
    case Construct::GreaterThanInText:
        return "'>' in text is dropped";
    case Construct::HexReference:
        return "hexadecimal character reference " + construct.text + " is read as a zero byte";
    case Construct::UnknownEntity:
        if (std::string("aglq").find(construct.text[1]) != std::string::npos) {
            return "unknown entity " + construct.text + " is read as a zero byte";
        }
        return "unknown entity " + construct.text + " is dropped with the text after it up to the next '#', 'a', 'g', 'l' or 'q'";
    case Construct::WideReference: {
        const std::string read = readByKpXml(construct.text);
        if (read == "is read as text \"?\"" && construct.text != "&#63;") {
            return "character reference " + construct.text + " has no character in the code page and is read as '?'";
        }
        return read == "is dropped" ? "character reference " + construct.text + " is dropped" : "";
    }
    case Construct::UnmatchedEndTag:
        if (construct.text.empty()) return "end tag </" + name + "> outside any element is ignored";
        return "end tag </" + name + "> does not match <" + construct.text + "> and is ignored";
    case Construct::SecondRoot:
        return "element <" + name + "> after the root element becomes a child of the root";
    case Construct::EightBitText: {
        std::string encoding;
        for (const char c : construct.text) encoding += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (encoding == "windows-1252" || encoding == "iso-8859-1" || encoding == "latin1") return "";
        return "bytes above 127 are read one by one as characters of the code page, not as " + construct.text;
    }
    case Construct::NotWellFormed:
        return "not well-formed: " + construct.text;
    }
    return "";
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

}  // namespace

int checkFile(const std::string& path, std::ostream& out, std::ostream& errors) {
    std::string text;
    std::string reason;
    if (!readTextFile(path, text, reason)) {
        errors << "kpxml: " << path << ": " << reason << "\n";
        return 1;
    }
    KpXmlTree document;
    parseText(text, "kpxml: parsing " + path, document);

    std::map<unsigned, std::string> wideCharacters;
    const auto wideCharacter = [&wideCharacters](unsigned code) {
        const auto known = wideCharacters.find(code);
        if (known != wideCharacters.end()) return known->second;
        std::istringstream in("<r>&#" + std::to_string(code) + ";</r>");
        return wideCharacters[code] = KpXmlTree(in).getRoot()->getData();
    };
    const StandardDocument standard = readStandard(text, wideCharacter);

    std::vector<std::size_t> lineStarts{0};
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') lineStarts.push_back(i + 1);
    }
    bool differs = false;
    const auto report = [&](std::size_t offset, const std::string& what) {
        const std::size_t line = static_cast<std::size_t>(std::upper_bound(lineStarts.begin(), lineStarts.end(), offset) - lineStarts.begin());
        out << path << ":" << line << ":" << (offset - lineStarts[line - 1] + 1) << ": " << what << "\n";
        differs = true;
    };
    for (const Construct& construct : standard.constructs) {
        const std::string what = explain(construct);
        if (!what.empty()) report(construct.offset, what);
    }
    // Every difference in the trees comes from a construct already reported; when none was, the
    // comparison still catches one that nothing above explains.
    if (!differs) {
        const auto [offset, what] = firstDifference(standard, *document.getRoot());
        if (!what.empty()) report(offset, what);
    }
    return differs ? 1 : 0;
}

}  // namespace kpxmlcli
