// The benchmark's instruction rows: parses and writes counted by valgrind's callgrind, KpXml against pugixml.
#ifndef KPXML_BENCH_INSTRUCTIONS_H
#define KPXML_BENCH_INSTRUCTIONS_H

#include <string>

namespace bench {

// Run in a process under callgrind (started with collection off): parses the named document with
// library ("KpXml" or "pugixml") from an std::istream and destroys the tree, or for a write row
// writes the parsed document to an std::ostringstream; once to warm up and once more with
// collection on. Returns the process's exit code: 0, or 2 for an unknown name.
// The document is made by another process (self --document), so that no work but the counted
// parse's warm-up has shaped this process's heap.
int countOneRun(const std::string& self, const std::string& document, const std::string& library);

// Run in a process of its own: writes the named document to the file at path. Returns 0, or 2 for
// an unknown name.
int writeDocument(const std::string& document, const std::string& path);

// Runs countOneRun for every document and both libraries under valgrind, each in its own
// process started from the program at self, and prints the table of instructions and ratios with
// the targets. Nothing but a note when valgrind cannot be started.
void printInstructionTable(const std::string& self);

}  // namespace bench

#endif
