#ifndef KPXML_CLI_CHECK_H
#define KPXML_CLI_CHECK_H

#include <cstddef>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

class KpXmlData;
class KpXmlTree;

namespace kpxmlcli {

// One place where KpXml reads a file differently from a standard XML reader.
struct Finding {
    std::size_t offset = 0;  // in the text
    std::size_t line = 0;
    std::size_t column = 0;
    std::string what;        // what KpXml does there
    bool note = false;       // true: the data is read alike, but a save drops the construct
};

// What checking one text found: findings in the order of their offsets, and for each element
// of the library's tree that matches the standard reader's, the offset of its start tag.
struct Analysis {
    std::vector<Finding> findings;
    std::map<const KpXmlData*, std::size_t> elementOffsets;

    // The number of findings that are not notes (strict: of all findings).
    std::size_t count(bool strict) const;
    // The line and column (both from 1) of an offset in the text.
    std::pair<std::size_t, std::size_t> lineAndColumn(std::size_t offset) const;

    std::vector<std::size_t> lineStarts;  // the offset of each line's first byte
};

// Compares how document (parsed from text by the library) and a standard XML reader read text.
Analysis analyse(const std::string& text, const KpXmlTree& document);

// Writes one line "FILE:LINE:COLUMN: what KpXml does" for every finding of the file at path
// ("-": standard input), notes as "FILE:LINE:COLUMN: note: ...". Returns 1 when there is a
// finding that is not a note (strict: any finding) or the file cannot be read (then
// "kpxml: FILE: REASON" goes to errors), else 0.
int checkFile(const std::string& path, bool strict, std::ostream& out, std::ostream& errors);

}  // namespace kpxmlcli

#endif
