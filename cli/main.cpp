// kpxml: shows, formats, edits and checks XML files as the KpXml library reads them.
#include <cctype>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include <kpxml/KpXmlTree.h>
#include <kpxml/KpXmlAttributeData.h>

#include "Check.h"
#include "Dump.h"
#include "InputFile.h"
#include "Rewrite.h"
#include "StandardOutput.h"
#include "Terminal.h"

namespace {

using kpxmlcli::loadDocument;
using kpxmlcli::quoted;

constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

const char* const overview =
    "usage: kpxml COMMAND [ARGUMENTS]\n"
    "Shows, formats, edits and checks XML files as the KpXml library reads them.\n"
    "\n"
    "commands:\n"
    "  dump FILE                        print the tree, one element per line\n"
    "  fmt FILE [-o OUT] [--indent N|tab] [--no-declaration] [--force] [--strict]\n"
    "                                   write the file back through the library\n"
    "  get FILE PATH [ATTRIBUTE]        print an element's text or attribute\n"
    "  set FILE PATH [ATTRIBUTE] VALUE [--create] [--indent N|tab] [--no-declaration]\n"
    "      [--force] [--strict]         change it, creating missing elements, and save\n"
    "  check [--strict] FILE...         list where KpXml reads a file differently\n"
    "                                   from a standard XML reader\n"
    "\n"
    "FILE - is standard input. Exit status: 0 success, 1 failure or finding, 2 usage error.\n"
    "kpxml COMMAND --help shows help on one command; kpxml --version the version.\n";

const char* const rewriteHelp =
    "Before a file is written, it is checked as check does, and the new document is read back in\n"
    "memory: when the library reads the input's data differently from a standard XML reader, or\n"
    "the new file would not read back as the tree it holds, nothing is written, the first\n"
    "finding is printed and the exit status is 1. Comments, processing instructions and a\n"
    "DOCTYPE that the library drops are reported as notes. After saving, the file is read back\n"
    "and compared with what was meant; a difference makes the exit status 1.\n"
    "  --force           write anyway, listing what is lost\n"
    "  --strict          let dropped comments, instructions and DOCTYPE block the write too\n"
    "  --indent N|tab    indent each level by N spaces (0: none) or one tab; default 2\n"
    "  --no-declaration  leave out the <?xml version=\"1.0\"?> line\n";

struct Command {
    const char* name;
    const char* usage;
    const char* help;
    std::size_t minimumArguments;
    std::size_t maximumArguments;
    const char* options;  // the options it takes, each followed by a space
};

const Command commandTable[] = {
    {"dump", "kpxml dump FILE",
     "Prints the tree as KpXml reads FILE (- for standard input): one element per line, indented\n"
     "two spaces per level, as <name attribute=\"value\" ...> followed by the element's text in\n"
     "quotes. Control bytes, bytes of 128 and more, blanks in names, '\"' and '\\' are shown as\n"
     "escapes (\\n, \\t, \\r, \\\", \\\\, \\xHH), so nothing is invisible. Input without any element\n"
     "is an error (exit status 1).\n",
     1, 1, ""},
    {"fmt", "kpxml fmt FILE [-o OUT] [--indent N|tab] [--no-declaration] [--force] [--strict]",
     "Reads FILE (- for standard input) and writes it back through the library: to OUT through a\n"
     "temporary file that replaces OUT when complete, or to standard output (also with -o -).\n"
     "  -o OUT            write to OUT (CR LF line ends, as all files the library writes)\n",
     1, 1, "-o --indent --no-declaration --force --strict "},
    {"get", "kpxml get FILE PATH [ATTRIBUTE]",
     "Prints the text of the element at PATH, or the value of its ATTRIBUTE, in FILE (- for\n"
     "standard input). PATH is a list of element names separated by '/', starting with the root\n"
     "(project/origin/X); each step takes the first child of that name. A missing element or\n"
     "attribute is an error (exit status 1).\n",
     2, 3, ""},
    {"set", "kpxml set FILE PATH [ATTRIBUTE] VALUE [--create] [--indent N|tab] [--no-declaration] [--force] [--strict]",
     "Sets the text of the element at PATH, or its ATTRIBUTE, to VALUE, creating the missing\n"
     "elements on the way, and saves FILE through a temporary file that replaces it when\n"
     "complete. PATH is as for get.\n"
     "A VALUE, PATH or ATTRIBUTE in UTF-8 (as a Linux command line holds it) is refused like a\n"
     "lossy rewrite: the library stores its bytes as characters of the code page.\n"
     "  --create          when FILE does not exist, make it, with PATH's first name as the root\n",
     3, 4, "--create --indent --no-declaration --force --strict "},
    {"check", "kpxml check [--strict] FILE...",
     "Lists every place where KpXml reads a file (- for standard input) differently from a\n"
     "standard XML reader, in file order, one per line as FILE:LINE:COLUMN: what KpXml does.\n"
     "What only a save loses (a comment, a processing instruction or a DOCTYPE that is dropped)\n"
     "is a note, as FILE:LINE:COLUMN: note: .... Exit status 0 when no file has a finding other\n"
     "than notes, 1 otherwise or when a file cannot be read.\n"
     "  --strict          notes count as findings for the exit status\n",
     1, static_cast<std::size_t>(-1), "--strict "},
};

// The options and operands of one command line.
struct Arguments {
    std::vector<std::string> operands;
    std::string output;
    kpxmlcli::RewriteOptions rewrite;
    bool create = false;
};

int usageError(const Command& command, const std::string& problem) {
    std::cerr << "kpxml " << command.name << ": " << problem << "\nusage: " << command.usage << "\n";
    return exitUsage;
}

bool takes(const Command& command, const std::string& option) {
    return std::strstr(command.options, (option + " ").c_str()) != nullptr;
}

// Fills arguments from the command line; returns 0, or the exit status of a usage error.
int parseArguments(const Command& command, const std::vector<std::string>& words, Arguments& arguments) {
    bool optionsEnded = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        // A word starting with '-' and a digit is an operand (a negative value for set), and so
        // is "-" alone (standard input).
        const bool option = !optionsEnded && word.size() > 1 && word[0] == '-' && !std::isdigit(static_cast<unsigned char>(word[1]));
        const bool hasValue = i + 1 < words.size();
        if (!option) {
            arguments.operands.push_back(word);
        } else if (word == "--") {
            optionsEnded = true;
        } else if (!takes(command, word) || ((word == "-o" || word == "--indent") && !hasValue)) {
            return usageError(command, "unknown option or missing value: " + word);
        } else if (word == "-o") {
            arguments.output = words[++i];
        } else if (word == "--indent") {
            const std::string& unit = words[++i];
            if (unit == "tab") {
                arguments.rewrite.indent = "\t";
            } else if (!unit.empty() && unit.size() <= 2 && unit.find_first_not_of("0123456789") == std::string::npos) {
                arguments.rewrite.indent.assign(static_cast<std::size_t>(std::stoi(unit)), ' ');
            } else {
                return usageError(command, "--indent takes a number of spaces up to 99 or 'tab'");
            }
        } else if (word == "--no-declaration") {
            arguments.rewrite.declaration = false;
        } else if (word == "--force") {
            arguments.rewrite.force = true;
        } else if (word == "--strict") {
            arguments.rewrite.strict = true;
        } else {
            arguments.create = true;
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

// True when text holds a byte above 127 and is valid UTF-8: then it is almost surely meant as
// UTF-8, not as characters of the code page (where such byte pairs are rare).
bool isMultiByteUtf8(const std::string& text) {
    bool multiByte = false;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80 ? 1 : lead >= 0xC2 && lead < 0xE0 ? 2 : lead >= 0xE0 && lead < 0xF0 ? 3 : lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
        if (length == 0 || i + length > text.size()) return false;
        for (std::size_t k = 1; k < length; ++k) {
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
        }
        multiByte = multiByte || length > 1;
        i += length;
    }
    return multiByte;
}

// Reads the FILE operand into document, keeping its text; false (with the error printed) when
// it cannot be read or holds no element.
bool loadElements(const std::string& file, KpXmlTree& document, std::string& text) {
    if (!loadDocument(file, document, text)) return false;
    if (kpxmlcli::hasElement(document)) return true;
    std::cerr << "kpxml: " << file << ": no element found\n";
    return false;
}

int dump(const Arguments& arguments) {
    KpXmlTree document;
    std::string text;
    if (!loadElements(arguments.operands[0], document, text)) return exitFailure;
    kpxmlcli::dumpTree(std::cout, *document.getRoot());
    return 0;
}

int format(const Arguments& arguments) {
    const std::string& file = arguments.operands[0];
    KpXmlTree document;
    std::string text;
    if (!loadElements(file, document, text)) return exitFailure;
    if (arguments.output.empty() || arguments.output == kpxmlcli::standardStreamName) {
        document.setIndent(arguments.rewrite.indent);
        document.putToStream(std::cout, arguments.rewrite.declaration);
        return 0;
    }
    const kpxmlcli::Analysis analysis = kpxmlcli::analyse(text, document);
    return kpxmlcli::rewrite(file, analysis, document, arguments.output, arguments.rewrite);
}

// Splits the PATH operand into names; returns 0, or the exit status of the usage error.
int splitPathOperand(const Command& command, const Arguments& arguments, std::vector<std::string>& names) {
    return splitPath(arguments.operands[1], names) ? 0 : usageError(command, "empty element name in " + arguments.operands[1]);
}

int get(const Command& command, const Arguments& arguments) {
    const std::string& file = arguments.operands[0];
    std::vector<std::string> names;
    if (const int status = splitPathOperand(command, arguments, names); status != 0) return status;
    KpXmlTree document;
    std::string text;
    if (!loadElements(file, document, text)) return exitFailure;
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
    if (file == kpxmlcli::standardStreamName) return usageError(command, "the file to change cannot be standard input");
    std::vector<std::string> names;
    if (const int status = splitPathOperand(command, arguments, names); status != 0) return status;
    KpXmlTree document;
    std::string text;
    std::error_code missing;
    const bool created = arguments.create && !std::filesystem::exists(file, missing);
    if (created) {
        document.setRoot(new KpXmlData(names[0]));
    } else if (!loadElements(file, document, text)) {
        return exitFailure;
    }
    kpxmlcli::Analysis analysis = created ? kpxmlcli::Analysis{} : kpxmlcli::analyse(text, document);
    for (std::size_t i = arguments.operands.size(); i-- > 1;) {
        const std::string& word = arguments.operands[i];
        if (isMultiByteUtf8(word)) {
            analysis.findings.insert(analysis.findings.begin(), kpxmlcli::Finding{0, 0, 0, quoted(word) +
                " is UTF-8 text, but the library writes each of its bytes as a character of the code page", false});
        }
    }
    KpXmlData* element = document.getRoot();
    if (element->getName() != names[0]) {
        // A root that is not the one named often comes from markup read in the dialect's own
        // way: then that is what to tell.
        if (!arguments.rewrite.force && analysis.count(arguments.rewrite.strict) != 0) {
            return kpxmlcli::rewrite(file, analysis, document, file, arguments.rewrite);
        }
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
    return kpxmlcli::rewrite(file, analysis, document, file, arguments.rewrite);
}

int check(const Arguments& arguments) {
    int status = 0;
    for (const std::string& file : arguments.operands) {
        if (kpxmlcli::checkFile(file, arguments.rewrite.strict, std::cout, std::cerr) != 0) status = exitFailure;
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
                std::cout << "usage: " << command.usage << "\n" << command.help << (takes(command, "--force") ? rewriteHelp : "");
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
    kpxmlcli::StandardOutput output;
    std::streambuf* const previous = std::cout.rdbuf(&output);
    const int status = kpxmlcli::finishOutput(output, run(std::vector<std::string>(argv + 1, argv + argc)));
    std::cout.rdbuf(previous);
    return status;
}
