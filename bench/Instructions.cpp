#include "Instructions.h"

#include "Documents.h"

#include <kpxml/KpXml.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <optional>
#include <pugixml.hpp>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace bench {
namespace {

// What is counted: a parse from an std::istream with the tree's destruction, or a write of the
// parsed tree to an std::ostringstream (indented by two spaces, with the declaration).
enum class Work { Parse, Write };

struct CountedDocument {
    const char* name;                    // as passed to countOneRun
    const char* label;                   // the table's row
    std::function<std::string()> make;   // the document
    double target;                       // KpXml / pugixml instructions at most; 0 for none
    Work work = Work::Parse;
};

const std::vector<CountedDocument>& countedDocuments() {
    static const std::vector<CountedDocument> all = {
        {"records-1mb", "parse a 1 MB document (the benchmark's records)", [] { return generatedDocument(1000 * 1000); }, 1.8},
        {"orders-1mb", "parse a 1 MB document (orders)", [] { return orderDocument(1000 * 1000); }, 1.8},
        {"records-2kb", "parse a 2 KB document (the benchmark's records)", [] { return generatedDocument(2 * 1024); }, 1.8},
        {"orders-2kb", "parse a 2 KB document (orders)", [] { return orderDocument(2 * 1024); }, 1.8},
        // No target: the document of the warm 10 MB rows, whose tree is larger than the pool blocks a
        // thread keeps, so that glibc's work on the freed blocks shows as it does in those rows.
        {"records-10mb", "parse a 10 MB document (the benchmark's records, as in the timed rows)",
         [] { return generatedDocument(10 * 1000 * 1000); }, 0},
        {"children", "parse 100,000 children of one root", [] { return wideDocument(100000); }, 2.5},
        {"nesting", "parse 100,000 nesting levels", [] { return deepDocument(100000); }, 3.0},
        {"write-1mb", "write a 1 MB document (the benchmark's records) to an std::ostringstream",
         [] { return generatedDocument(1000 * 1000); }, 0, Work::Write},
        {"write-orders-1mb", "write a 1 MB document (orders) to an std::ostringstream",
         [] { return orderDocument(1000 * 1000); }, 0, Work::Write},
    };
    return all;
}

void parseAndDestroy(const std::string& text, const std::string& library) {
    TextStream stream(text);
    if (library == "KpXml") {
        const KpXmlTree tree(stream.in);
    } else {
        pugi::xml_document document;
        document.load(stream.in);
    }
}

// Writes text, parsed by library once before, to a fresh string stream: once to warm up, and once
// more with collection on.
void countOneWrite(const std::string& text, const std::string& library) {
    TextStream stream(text);
    if (library == "KpXml") {
        KpXmlTree tree(stream.in);
        tree.setIndent("  ");
        for (const bool counted : {false, true}) {
            std::ostringstream out;
            if (counted) CALLGRIND_TOGGLE_COLLECT;
            tree.putToStream(out, true);
            if (counted) CALLGRIND_TOGGLE_COLLECT;
        }
    } else {
        pugi::xml_document document;
        document.load(stream.in);
        for (const bool counted : {false, true}) {
            std::ostringstream out;
            if (counted) CALLGRIND_TOGGLE_COLLECT;
            document.save(out, "  ");
            if (counted) CALLGRIND_TOGGLE_COLLECT;
        }
    }
}

// The instructions collected into a callgrind output file: its "totals:" (or "summary:") line.
std::optional<unsigned long long> totalInstructions(const std::string& path) {
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        for (const char* key : {"totals:", "summary:"}) {
            if (line.rfind(key, 0) == 0) return std::strtoull(line.c_str() + std::char_traits<char>::length(key), nullptr, 10);
        }
    }
    return std::nullopt;
}

// Runs the program arguments[0] (searched in PATH) with its output going nowhere; true when it
// ran and exited with 0.
bool runToEnd(std::vector<std::string> arguments) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    const int started = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (started != 0) return false;
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Runs self under callgrind to count one parse; nothing when that failed.
std::optional<unsigned long long> countUnderValgrind(const std::string& self, const std::string& document,
                                                     const std::string& library) {
    const std::string output = temporaryPath("callgrind");
    std::optional<unsigned long long> total;
    if (runToEnd({"valgrind", "--tool=callgrind", "--collect-atstart=no", "--quiet", "--callgrind-out-file=" + output,
                  self, "--count", document, library})) {
        total = totalInstructions(output);
    }
    std::remove(output.c_str());
    return total;
}

std::string grouped(unsigned long long value) {
    std::string digits = std::to_string(value);
    for (std::size_t at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, ",");
    return digits;
}

}  // namespace

int writeDocument(const std::string& document, const std::string& path) {
    for (const CountedDocument& counted : countedDocuments()) {
        if (document != counted.name) continue;
        writeFile(path, counted.make());
        return 0;
    }
    return 2;
}

int countOneRun(const std::string& self, const std::string& document, const std::string& library) {
    if (library != "KpXml" && library != "pugixml") return 2;
    for (const CountedDocument& counted : countedDocuments()) {
        if (document != counted.name) continue;
        // The document is made by another process: making it here would leave the heap shaped by
        // that work (KpXml's writer makes most of them), and what the counted parse costs in malloc
        // depends on the heap's history (one change to the writer alone moved the 1 MB row by 7 %).
        const std::string path = temporaryPath("counted.xml");
        if (!runToEnd({self, "--document", document, path})) return 2;
        const std::string text = readFile(path);
        std::remove(path.c_str());
        if (counted.work == Work::Write) {
            countOneWrite(text, library);
            return 0;
        }
        parseAndDestroy(text, library);  // the process has parsed the document before
        CALLGRIND_TOGGLE_COLLECT;
        parseAndDestroy(text, library);
        CALLGRIND_TOGGLE_COLLECT;
        return 0;
    }
    return 2;
}

void printInstructionTable(const std::string& self) {
    std::printf("\nInstructions of a parse from an std::istream with the tree's destruction, and of a write to an "
                "std::ostringstream (valgrind --tool=callgrind, in a process that has done the same once before):\n\n"
                "| | KpXml | pugixml | KpXml / pugixml | target |\n|---|---|---|---|---|\n");
    for (const CountedDocument& counted : countedDocuments()) {
        std::fprintf(stderr, "  instructions: %s\n", counted.label);
        const std::optional<unsigned long long> ours = countUnderValgrind(self, counted.name, "KpXml");
        const std::optional<unsigned long long> theirs = countUnderValgrind(self, counted.name, "pugixml");
        if (!ours || !theirs || *theirs == 0) {
            std::printf("| %s | %s | %s | | no count (is valgrind installed?) |\n", counted.label,
                        ours ? grouped(*ours).c_str() : "", theirs ? grouped(*theirs).c_str() : "");
            continue;
        }
        const double ratio = static_cast<double>(*ours) / static_cast<double>(*theirs);
        if (counted.target == 0) {
            std::printf("| %s | %s | %s | %.2f | |\n", counted.label, grouped(*ours).c_str(), grouped(*theirs).c_str(), ratio);
            continue;
        }
        std::printf("| %s | %s | %s | %.2f | pugixml <= %.1f: %.2f, %s |\n", counted.label, grouped(*ours).c_str(),
                    grouped(*theirs).c_str(), ratio, counted.target, ratio, ratio <= counted.target ? "met" : "NOT met");
    }
}

}  // namespace bench
