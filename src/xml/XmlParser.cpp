// Reading a document from a stream: the scanner reads the bytes and reports the tags it finds,
// the tree builder makes the elements and attaches them (see XmlScanner.h and TreeBuilder.h).
#include <exception>
#include <istream>
#include <optional>

#include "kpxml/KpXmlTree.h"
#include "xml/ParsingPath.h"
#include "xml/PlainTagReader.h"
#include "xml/TreeBuilder.h"
#include "xml/XmlScanner.h"

void KpXmlTree::buildOfStream(std::istream& in) {
    delete root;
    root = nullptr;
    currentNode = nullptr;
    root = new KpXmlData();
    if (in.fail()) return;
    in.seekg(0);
    if (in.fail()) return;

    std::optional<KpXml::detail::PlainTagReader> ownTables;
    const KpXml::detail::PlainTagReader& tables = KpXml::detail::PlainTagReader::forTables(separators, entityMap, ownTables);
    KpXml::detail::TreeBuilder builder(*root);
    KpXml::detail::XmlScanner<KpXml::detail::TreeBuilder> scanner(builder, KpXml::detail::StepByStepParsing::selected() ? nullptr : &tables,
                                      tables.separators(), tables.entities());
    const bool documentEnded = scanner.run(*in.rdbuf());
    if (scanner.streamError) {
        // As a failing get() would: the stream turns bad, and the error surfaces only when the
        // stream is set to throw.
        if (in.exceptions() & std::ios_base::badbit) std::rethrow_exception(scanner.streamError);
        in.setstate(std::ios_base::badbit);
        return;
    }
    if (!documentEnded) in.setstate(std::ios_base::eofbit | std::ios_base::failbit);
}

namespace KpXml::detail {

namespace {
thread_local bool stepByStepSelected = false;
}  // namespace

StepByStepParsing::StepByStepParsing() : previous(stepByStepSelected) {
    stepByStepSelected = true;
}

StepByStepParsing::~StepByStepParsing() {
    stepByStepSelected = previous;
}

bool StepByStepParsing::selected() {
    return stepByStepSelected;
}

}  // namespace KpXml::detail
