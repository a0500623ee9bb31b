#ifndef KPXML_CLI_INPUTFILE_H
#define KPXML_CLI_INPUTFILE_H

#include <cstdint>
#include <string>

class KpXmlTree;

namespace kpxmlcli {

// Shows on standard error how far a long job has come, as a percentage on one line. It shows
// nothing unless the job is larger than 100 MB and standard error is a terminal.
class Progress {
public:
    Progress(const std::string& label, std::uint64_t total);
    // Ends the line when anything was shown.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // Shows done out of the total when the percentage has changed.
    void update(std::uint64_t done);

private:
    std::string label;
    std::uint64_t total;
    bool enabled;
    int shownPercent = -1;
};

// Reads the file at path as the library reads its own files (KpXmlTree::readText). On failure
// returns false and sets reason to the description of the error.
bool readTextFile(const std::string& path, std::string& text, std::string& reason);

// The name that stands for standard input (as FILE) and standard output (as -o OUT).
constexpr const char* standardStreamName = "-";

// As readTextFile, reading standard input when name is "-": the library reads files only, so
// standard input gets the same text-mode rules here (a carriage return directly before a line
// feed is dropped, a byte 0x1A ends the input), with progress shown for a long one.
bool readInput(const std::string& name, std::string& text, std::string& reason);

// Parses text into document with the library's parser, showing progress under label.
void parseText(const std::string& text, const std::string& label, KpXmlTree& document);

// Reads and parses the file at path ("-": standard input), keeping the text that was read in
// text; on failure prints "kpxml: PATH: REASON" to standard error and returns false.
bool loadDocument(const std::string& path, KpXmlTree& document, std::string& text);

// True when the library found an element in what it read: a root with a name.
bool hasElement(const KpXmlTree& document);

}  // namespace kpxmlcli

#endif
