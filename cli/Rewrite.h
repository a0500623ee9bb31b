#ifndef KPXML_CLI_REWRITE_H
#define KPXML_CLI_REWRITE_H

#include <string>

class KpXmlTree;

namespace kpxmlcli {

struct Analysis;

// How a file is written over: the writer's settings and what may block the write.
struct RewriteOptions {
    std::string indent = "  ";
    bool declaration = true;
    bool force = false;   // write even when data is lost, saying what
    bool strict = false;  // let dropped comments, instructions and DOCTYPE block too
};

// Saves document to path: the one place where the tool writes a file. Prints
// "kpxml: PATH: not saved: REASON" to standard error and returns false when nothing was saved;
// the file is then unchanged.
bool saveDocument(const KpXmlTree& document, const std::string& path, bool declaration);

// Called with the path of every file just saved, before it is read back; the tool's own does
// nothing (a test build of the tool damages the file here, to see the read-back catch it).
void fileSaved(const std::string& path);

// Writes document to target, refusing when the result would not read as the user expects:
// when analysis (of the text that source held, document's origin; empty for a new document)
// has a finding that is not a note (with strict, any finding), or when document would not read
// back as written. A refusal prints "kpxml: TARGET: not changed: " and the first finding; force
// writes anyway and lists what is lost. Notes go to standard error. After saving, the file is
// read back and compared with what the writer meant to store. Returns the exit status.
int rewrite(const std::string& source, const Analysis& analysis, KpXmlTree& document, const std::string& target,
            const RewriteOptions& options);

}  // namespace kpxmlcli

#endif
