// Writing a file over only when it will read as the user expects: the input's findings, the
// document read back from the writer's text in memory, and the saved file read back again.
#include "Rewrite.h"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include <kpxml/KpXmlTree.h>

#include "Check.h"
#include "Dump.h"
#include "InputFile.h"

namespace kpxmlcli {

namespace {

// The non-null entries of a node list.
template <typename Node>
std::vector<const Node*> present(const std::vector<Node*>& nodes) {
    std::vector<const Node*> kept;
    for (const Node* node : nodes) {
        if (node != nullptr) kept.push_back(node);
    }
    return kept;
}

std::string shownAttribute(const KpXmlAttributeData* attribute) {
    return attribute == nullptr ? "nothing" : shownName(attribute->getName()) + "=" + quoted(attribute->getData());
}

// How read differs from meant (children aside); empty when they agree.
std::string elementDifference(const KpXmlData& meant, const KpXmlData& read) {
    if (read.getName() != meant.getName()) return "is read back as <" + shownName(read.getName()) + ">";
    const std::vector<const KpXmlAttributeData*> meantAttributes = present(meant.getAttributes());
    const std::vector<const KpXmlAttributeData*> readAttributes = present(read.getAttributes());
    for (std::size_t i = 0; i < std::max(meantAttributes.size(), readAttributes.size()); ++i) {
        const KpXmlAttributeData* expected = i < meantAttributes.size() ? meantAttributes[i] : nullptr;
        const KpXmlAttributeData* actual = i < readAttributes.size() ? readAttributes[i] : nullptr;
        if (expected == nullptr || actual == nullptr || expected->getName() != actual->getName() ||
            expected->getData() != actual->getData()) {
            return "has the attribute " + shownAttribute(actual) + " when read back instead of " + shownAttribute(expected);
        }
    }
    const std::vector<const KpXmlData*> meantChildren = present(meant.getChildren());
    if (read.getData() != meant.getData()) {
        const std::string what = "has the text " + quoted(read.getData()) + " when read back instead of " + quoted(meant.getData());
        if (read.getData().empty() && !meantChildren.empty()) return what + " (text before child elements is not kept)";
        return what;
    }
    const std::size_t readChildren = present(read.getChildren()).size();
    if (readChildren != meantChildren.size()) {
        return "has " + std::to_string(readChildren) + " child elements when read back instead of " + std::to_string(meantChildren.size());
    }
    return "";
}

// The first element of meant, in document order, that read does not hold alike, with what
// differs; a null element when the trees are equal.
std::pair<const KpXmlData*, std::string> firstDifference(const KpXmlData& meant, const KpXmlData& read) {
    std::vector<std::pair<const KpXmlData*, const KpXmlData*>> pending{{&meant, &read}};
    while (!pending.empty()) {
        const auto [expected, actual] = pending.back();
        pending.pop_back();
        const std::string what = elementDifference(*expected, *actual);
        if (!what.empty()) return {expected, what};
        const std::vector<const KpXmlData*> expectedChildren = present(expected->getChildren());
        const std::vector<const KpXmlData*> actualChildren = present(actual->getChildren());
        for (std::size_t i = expectedChildren.size(); i-- > 0;) pending.emplace_back(expectedChildren[i], actualChildren[i]);
    }
    return {nullptr, ""};
}

// The element's path from the root, names separated by '/'.
std::string pathOf(const KpXmlData& element) {
    std::string path = shownName(element.getName());
    for (const KpXmlData* parent = element.getParent(); parent != nullptr; parent = parent->getParent()) {
        path = shownName(parent->getName()) + "/" + path;
    }
    return path;
}

// The finding for the first difference between meant and read; an empty one when they agree.
// It is placed at the element's start tag when analysis knows it, else named by its path.
Finding treeFinding(const Analysis& analysis, const KpXmlData& meant, const KpXmlData& read) {
    const auto [element, what] = firstDifference(meant, read);
    Finding finding;
    if (element == nullptr) return finding;
    const auto known = analysis.elementOffsets.find(element);
    if (known == analysis.elementOffsets.end()) {
        finding.what = "element " + pathOf(*element) + " " + what;
    } else {
        finding.offset = known->second;
        std::tie(finding.line, finding.column) = analysis.lineAndColumn(known->second);
        finding.what = "element <" + shownName(element->getName()) + "> " + what;
    }
    return finding;
}

// "LINE:COLUMN: what", with "SOURCE:" before it when shown for another file than source.
std::string shown(const Finding& finding, const std::string& source, bool sameFile) {
    if (finding.line == 0) return finding.what;
    return (sameFile ? "" : source + ":") + std::to_string(finding.line) + ":" + std::to_string(finding.column) + ": " + finding.what;
}

}  // namespace

bool saveDocument(const KpXmlTree& document, const std::string& path, bool declaration) {
    std::error_code error;
    if (document.writeFile(path, declaration, error)) return true;
    std::cerr << "kpxml: " << path << ": not saved: " << error.message() << "\n";
    return false;
}

int rewrite(const std::string& source, const Analysis& analysis, KpXmlTree& document, const std::string& target,
            const RewriteOptions& options) {
    document.setIndent(options.indent);
    std::stringstream written;
    document.putToStream(written, options.declaration);
    const KpXmlTree writtenRead(written);

    std::vector<Finding> blocking;
    std::vector<Finding> notes;
    for (const Finding& finding : analysis.findings) (finding.note && !options.strict ? notes : blocking).push_back(finding);
    const Finding lost = treeFinding(analysis, *document.getRoot(), *writtenRead.getRoot());
    if (!lost.what.empty()) blocking.push_back(lost);

    const bool sameFile = source == target;
    if (!blocking.empty() && !options.force) {
        std::cerr << "kpxml: " << target << ": not changed: " << shown(blocking.front(), source, sameFile);
        if (blocking.size() > 1) std::cerr << " (and " << blocking.size() - 1 << " more)";
        std::cerr << "\n";
        return 1;
    }
    for (const Finding& note : notes) std::cerr << source << ":" << note.line << ":" << note.column << ": " << note.what << "\n";
    for (const Finding& finding : blocking) std::cerr << "kpxml: " << target << ": lost: " << shown(finding, source, false) << "\n";

    if (!saveDocument(document, target, options.declaration)) return 1;
    fileSaved(target);
    KpXmlTree saved;
    std::string text;
    if (!loadDocument(target, saved, text)) return 1;
    const Finding differs = treeFinding(Analysis{}, *writtenRead.getRoot(), *saved.getRoot());
    if (!differs.what.empty()) {
        std::cerr << "kpxml: " << target << ": saved, but it reads back differently: " << differs.what << "\n";
        return 1;
    }
    return 0;
}

}  // namespace kpxmlcli
