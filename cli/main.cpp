// kpxml: shows, formats, edits and checks XML files as the KpXml library reads them.
#include <cctype>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include <kpxml/KpXmlTree.h>

#include "Check.h"
#include "Dump.h"
#include "InputFile.h"
#include "SaveDocument.h"
#include "Terminal.h"

namespace {

using kpxmlcli::loadDocument;

constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

const char* const overview =
    "usage: kpxml COMMAND [ARGUMENTS]\n"
    "Shows, formats, edits and checks XML files as the KpXml library reads them.\n"
    "\n"
    "commands:\n"
    "  dump FILE                        print the tree, one element per line\n"
    "  fmt FILE [-o OUT] [--indent N|tab] [--no-declaration]\n"
    "                                   write the file back through the library\n"
    "  get FILE PATH [ATTRIBUTE]        print an element's text or attribute\n"
    "  set FILE PATH [ATTRIBUTE] VALUE  change it, creating missing elements, and save\n"
    "  check FILE...                    list where KpXml reads a file differently\n"
    "                                   from a standard XML reader\n"
    "\n"
    "kpxml COMMAND --help shows help on one command; kpxml --version the version.\n";

struct Command {
    const char* name;
    const char* usage;
    const char* help;
    std::size_t minimumArguments;
    std::size_t maximumArguments;
    bool writes;  // takes --indent and --no-declaration
};

const Command commandTable[] = {
    {"dump", "kpxml dump FILE",
     "Prints the tree as KpXml reads FILE: one element per line, indented two spaces per level,\n"
     "as <name attribute=\"value\" ...> followed by the element's text in quotes. Control bytes,\n"
     "bytes of 128 and more, blanks in names, '\"' and '\\' are shown as escapes (\\n, \\t, \\r,\n"
     "\\\", \\\\, \\xHH), so nothing is invisible.\n",
     1, 1, false},
    {"fmt", "kpxml fmt FILE [-o OUT] [--indent N|tab] [--no-declaration]",
     "Reads FILE and writes it back through the library: to OUT through a temporary file that\n"
     "replaces OUT when complete, or to standard output.\n"
     "  -o OUT            write to OUT (CR LF line ends, as all files the library writes)\n"
     "  --indent N|tab    indent each level by N spaces (0: none) or one tab; default 2\n"
     "  --no-declaration  leave out the <?xml version=\"1.0\"?> line\n",
     1, 1, true},
    {"get", "kpxml get FILE PATH [ATTRIBUTE]",
     "Prints the text of the element at PATH, or the value of its ATTRIBUTE. PATH is a list of\n"
     "element names separated by '/', starting with the root (project/origin/X); each step takes\n"
     "the first child of that name. A missing element or attribute is an error (exit status 1).\n",
     2, 3, false},
    {"set", "kpxml set FILE PATH [ATTRIBUTE] VALUE",
     "Sets the text of the element at PATH, or its ATTRIBUTE, to VALUE, creating the missing\n"
     "elements on the way, and saves FILE through a temporary file that replaces it when\n"
     "complete. PATH is as for get. Takes --indent N|tab and --no-declaration as fmt does.\n",
     3, 4, true},
    {"check", "kpxml check FILE...",
     "Lists every place where KpXml reads a file differently from a standard XML reader, one per\n"
     "line as FILE:LINE:COLUMN: what KpXml does. Exit status 0 when no file has any, 1 otherwise.\n",
     1, static_cast<std::size_t>(-1), false},
};

// The options and operands of one command line.
struct Arguments {
    std::vector<std::string> operands;
    std::string output;
    std::string indent = "  ";
    bool declaration = true;
};

int usageError(const Command& command, const std::string& problem) {
    std::cerr << "kpxml " << command.name << ": " << problem << "\nusage: " << command.usage << "\n";
    return exitUsage;
}

// Fills arguments from the command line; returns 0, or the exit status of a usage error.
int parseArguments(const Command& command, const std::vector<std::string>& words, Arguments& arguments) {
    bool optionsEnded = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        // A word starting with '-' and a digit is an operand (a negative value for set).
        const bool option = !optionsEnded && word.size() > 1 && word[0] == '-' && !std::isdigit(static_cast<unsigned char>(word[1]));
        if (!option) {
            arguments.operands.push_back(word);
        } else if (word == "--") {
            optionsEnded = true;
        } else if (word == "-o" && std::strcmp(command.name, "fmt") == 0 && i + 1 < words.size()) {
            arguments.output = words[++i];
        } else if (word == "--indent" && command.writes && i + 1 < words.size()) {
            const std::string& unit = words[++i];
            if (unit == "tab") {
                arguments.indent = "\t";
            } else if (!unit.empty() && unit.size() <= 2 && unit.find_first_not_of("0123456789") == std::string::npos) {
                arguments.indent.assign(static_cast<std::size_t>(std::stoi(unit)), ' ');
            } else {
                return usageError(command, "--indent takes a number of spaces up to 99 or 'tab'");
            }
        } else if (word == "--no-declaration" && command.writes) {
            arguments.declaration = false;
        } else {
            return usageError(command, "unknown option or missing value: " + word);
        }
    }
    if (arguments.operands.size() < command.minimumArguments) return usageError(command, "missing arguments");
    if (arguments.operands.size() > command.maximumArguments) return usageError(command, "too many arguments");
    return 0;
}

// Splits a slash-separated path into element names; false when a name is empty.
bool splitPath(const std::string& path, std::vector<std::string>& names) {
    std::size_t start = 0;
    for (;;) {
        const std::size_t slash = path.find('/', start);
        names.push_back(path.substr(start, slash - start));
        if (names.back().empty()) return false;
        if (slash == std::string::npos) return true;
        start = slash + 1;
    }
}

int dump(const Arguments& arguments) {
    KpXmlTree document;
    if (!loadDocument(arguments.operands[0], document)) return exitFailure;
    kpxmlcli::dumpTree(std::cout, *document.getRoot());
    return 0;
}

int writeDocument(KpXmlTree& document, const Arguments& arguments, const std::string& target) {
    document.setIndent(arguments.indent);
    if (target.empty()) {
        document.putToStream(std::cout, arguments.declaration);
        return 0;
    }
    return kpxmlcli::saveDocument(document, target, arguments.declaration) ? 0 : exitFailure;
}

int format(const Arguments& arguments) {
    KpXmlTree document;
    if (!loadDocument(arguments.operands[0], document)) return exitFailure;
    return writeDocument(document, arguments, arguments.output);
}

// Splits the PATH operand into names and reads the FILE operand into document; returns 0, or the
// exit status of the error.
int readForPath(const Command& command, const Arguments& arguments, std::vector<std::string>& names, KpXmlTree& document) {
    if (!splitPath(arguments.operands[1], names)) return usageError(command, "empty element name in " + arguments.operands[1]);
    return loadDocument(arguments.operands[0], document) ? 0 : exitFailure;
}

int get(const Command& command, const Arguments& arguments) {
    const std::string& file = arguments.operands[0];
    std::vector<std::string> names;
    KpXmlTree document;
    if (const int status = readForPath(command, arguments, names, document); status != 0) return status;
    const KpXmlData* element = document.getRoot()->getName() == names[0] ? document.getRoot() : nullptr;
    for (std::size_t i = 1; i < names.size() && element != nullptr; ++i) element = element->findChild(names[i]);
    if (element == nullptr) {
        std::cerr << "kpxml: " << file << ": no element " << arguments.operands[1] << "\n";
        return exitFailure;
    }
    if (arguments.operands.size() == 2) {
        std::cout << element->getData() << "\n";
        return 0;
    }
    const KpXmlAttributeData* attribute = element->findAttribute(arguments.operands[2]);
    if (attribute == nullptr) {
        std::cerr << "kpxml: " << file << ": element " << arguments.operands[1] << " has no attribute "
                  << arguments.operands[2] << "\n";
        return exitFailure;
    }
    std::cout << attribute->getData() << "\n";
    return 0;
}

int set(const Command& command, const Arguments& arguments) {
    const std::string& file = arguments.operands[0];
    std::vector<std::string> names;
    KpXmlTree document;
    if (const int status = readForPath(command, arguments, names, document); status != 0) return status;
    KpXmlData* element = document.getRoot();
    // A file without any element gets its root from the path.
    if (element->getName().empty()) element->setName(names[0]);
    if (element->getName() != names[0]) {
        std::cerr << "kpxml: " << file << ": the root element is <" << kpxmlcli::shownName(element->getName())
                  << ">, not <" << names[0] << ">\n";
        return exitFailure;
    }
    for (std::size_t i = 1; i < names.size(); ++i) element = element->openChild(names[i], false);
    if (arguments.operands.size() == 4) {
        element->setAttribute(arguments.operands[2], arguments.operands[3], true);
    } else {
        element->setData(arguments.operands[2]);
    }
    return writeDocument(document, arguments, file);
}

int check(const Arguments& arguments) {
    int status = 0;
    for (const std::string& file : arguments.operands) {
        if (kpxmlcli::checkFile(file, std::cout, std::cerr) != 0) status = exitFailure;
    }
    return status;
}

int run(const std::vector<std::string>& words) {
    if (words.empty()) {
        std::cerr << overview;
        return exitUsage;
    }
    if (words[0] == "--help" || words[0] == "-h") {
        std::cout << overview;
        return 0;
    }
    if (words[0] == "--version") {
        std::cout << "kpxml " << KPXML_VERSION << "\n";
        return 0;
    }
    for (const Command& command : commandTable) {
        if (words[0] != command.name) continue;
        const std::vector<std::string> rest(words.begin() + 1, words.end());
        for (const std::string& word : rest) {
            if (word == "--") break;
            if (word == "--help" || word == "-h") {
                std::cout << "usage: " << command.usage << "\n" << command.help;
                return 0;
            }
        }
        Arguments arguments;
        if (const int status = parseArguments(command, rest, arguments); status != 0) return status;
        if (command.name == std::string("dump")) return dump(arguments);
        if (command.name == std::string("fmt")) return format(arguments);
        if (command.name == std::string("get")) return get(command, arguments);
        if (command.name == std::string("set")) return set(command, arguments);
        return check(arguments);
    }
    std::cerr << "kpxml: unknown command " << words[0] << "\n" << overview;
    return exitUsage;
}

}  // namespace

int main(int argc, char** argv) {
    kpxmlcli::useBinaryStandardStreams();
    return run(std::vector<std::string>(argv + 1, argv + argc));
}
