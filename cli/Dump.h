#ifndef KPXML_CLI_DUMP_H
#define KPXML_CLI_DUMP_H

#include <ostream>
#include <string>

class KpXmlData;

namespace kpxmlcli {

// The text in double quotes, with control bytes, bytes of 128 and more, the double quote and the
// backslash written as escapes (\n, \t, \r, \", \\, \xHH), so that nothing is invisible.
std::string quoted(const std::string& text);
// A name as dump shows it: bytes outside the printable ASCII range, blanks, and " = < > \ as
// \xHH escapes.
std::string shownName(const std::string& name);
// Writes the subtree of node, one element per line, indented two spaces per level:
// <name attribute="value" ...> "text".
void dumpTree(std::ostream& out, const KpXmlData& node);

}  // namespace kpxmlcli

#endif
