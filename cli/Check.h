#ifndef KPXML_CLI_CHECK_H
#define KPXML_CLI_CHECK_H

#include <ostream>
#include <string>

namespace kpxmlcli {

// Writes one line "FILE:LINE:COLUMN: what KpXml does" for every place where KpXml reads the file
// differently from a standard XML reader. Returns 0 when there is none, 1 when there is one or
// the file cannot be read (then "kpxml: FILE: REASON" goes to errors).
int checkFile(const std::string& path, std::ostream& out, std::ostream& errors);

}  // namespace kpxmlcli

#endif
