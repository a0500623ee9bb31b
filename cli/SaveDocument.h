#ifndef KPXML_CLI_SAVEDOCUMENT_H
#define KPXML_CLI_SAVEDOCUMENT_H

#include <string>

class KpXmlTree;

namespace kpxmlcli {

// Saves document to the file at path (with the declaration line when declaration is true). On
// failure prints "kpxml: PATH: not saved: REASON" to standard error and returns false; the file
// is then unchanged.
bool saveDocument(const KpXmlTree& document, const std::string& path, bool declaration);

}  // namespace kpxmlcli

#endif
