// KpXml side by side with pugixml, tinyxml2 and libxml2, measured in one run and printed as one
// Markdown table with KpXml's ratio to each peer, followed by a table of instruction counts of
// KpXml and pugixml under valgrind's callgrind:
//
//   tools/install-deps.sh --bench
//   cmake --preset bench && cmake --build --preset bench -j2 && build/bench/bin/kpxml_bench
//
// (`kpxml_bench WORDS` runs only the timed rows whose names contain WORDS; `kpxml_bench
// instructions` only the instruction table.) Documents are generated in KpXml's own writing style
// (see Documents.h). Every time is the median of several samples taken after a warm-up run; a
// sample repeats the work until it lasts at least 0.1 s. Times are processor time of this process
// (user and system), except for saving to files, which is wall-clock time because it includes
// waiting for the disk. The machine may be shared: compare ratios within one run only.
//
// Parsing is timed from an std::istream over the document's bytes (no copy before the parse) up
// to the destruction of the parsed tree, each library in a child process, once with malloc's
// defaults (cold) and once with its trim and mmap thresholds pinned (warm). tinyxml2 and libxml2
// parse from memory only: reading the stream into a string is part of their work. Tree memory is
// the heap that the parsed tree holds, mapped blocks included; memory held after destruction is
// the resident memory left after malloc_trim(0), measured in a fresh process.
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <malloc.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <kpxml/KpXml.h>
#include <kpxml/KpXmlApi.h>

#include "xml/ObjectPool.h"

#include "Documents.h"
#include "Instructions.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <pugixml.hpp>
#include <thread>
#include <sstream>
#include <string>
#include <tinyxml2.h>
#include <vector>

namespace {

using bench::readFile;
using bench::temporaryPath;
using bench::TextStream;
using bench::writeFile;

// The path of this program (for valgrind, which would read /proc/self/exe as its own).
std::string ownPath() {
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string("kpxml_bench");
}

// Runs this program again with arguments, in a fresh process whose heap no earlier work has
// shaped, and reads the number it prints; nothing when it printed none (it crashed).
std::optional<double> inFreshProcess(const std::string& arguments) {
    std::fflush(stdout);
    const std::string command = "'" + ownPath() + "' " + arguments;
    FILE* const child = popen(command.c_str(), "r");
    if (child == nullptr) return std::nullopt;
    double value = 0;
    const bool read = std::fscanf(child, "%lf", &value) == 1;
    pclose(child);
    if (!read) return std::nullopt;
    return value;
}

std::string readAll(std::istream& in) {
    std::ostringstream out;
    out << in.rdbuf();
    return std::move(out).str();
}

// ---------------------------------------------------------------------------------------------
// Libraries: parse a stream into an owning object, and write

using LibxmlDocument = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;

struct Library {
    const char* name;
    // Parses in; returns the tree as an owning object, or nothing when the library refused.
    std::function<std::shared_ptr<void>(std::istream& in)> parse;
};

template <typename T>
std::shared_ptr<void> owned(std::unique_ptr<T> object) {
    return std::shared_ptr<T>(std::move(object));
}

std::shared_ptr<void> libxmlParse(const std::string& text) {
    xmlDoc* parsed = xmlReadMemory(text.data(), static_cast<int>(text.size()), "bench.xml", nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    if (parsed == nullptr) return nullptr;
    return std::shared_ptr<xmlDoc>(parsed, &xmlFreeDoc);
}

const std::vector<Library>& libraries() {
    static const std::vector<Library> all = {
        {"KpXml", [](std::istream& in) { return owned(std::make_unique<KpXmlTree>(in)); }},
        {"pugixml",
         [](std::istream& in) -> std::shared_ptr<void> {
             auto parsed = std::make_unique<pugi::xml_document>();
             if (!parsed->load(in)) return nullptr;
             return owned(std::move(parsed));
         }},
        {"tinyxml2",
         [](std::istream& in) -> std::shared_ptr<void> {
             auto parsed = std::make_unique<tinyxml2::XMLDocument>();
             const std::string text = readAll(in);
             if (parsed->Parse(text.data(), text.size()) != tinyxml2::XML_SUCCESS) return nullptr;
             return owned(std::move(parsed));
         }},
        {"libxml2", [](std::istream& in) { return libxmlParse(readAll(in)); }},
    };
    return all;
}

// ---------------------------------------------------------------------------------------------
// Measuring

// Seconds of processor time used by this process (user and system), which other programs on a
// shared machine disturb far less than the wall clock; or seconds of the wall clock, for work that
// waits for the disk.
enum class Timing { Processor, Wall };

double now(Timing timing) {
    if (timing == Timing::Wall) {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    }
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// The median time of one run of work, in seconds.
double medianSeconds(const std::function<void()>& work, Timing timing = Timing::Processor) {
    const double start = now(timing);
    work();  // warm-up
    const double once = now(timing) - start;
    const int repeats = std::max(1, static_cast<int>(0.1 / std::max(once, 1e-9)));
    const int samples = once > 1.0 ? 3 : 5;
    std::vector<double> times;
    for (int sample = 0; sample < samples; ++sample) {
        const double begin = now(timing);
        for (int i = 0; i < repeats; ++i) work();
        times.push_back((now(timing) - begin) / repeats);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

double megabytes(std::size_t bytes) {
    return static_cast<double>(bytes) / 1e6;
}

// Heap bytes in use, blocks that malloc mapped on their own (hblkhd) included; memory in KpXml's
// pools counts only where its slots are in use, since a block with free slots stays with the pool.
std::size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    std::size_t bytes = info.uordblks + info.hblkhd;
    for (const KpXml::detail::ObjectPool* pool : {&KpXml::detail::nodePool(), &KpXml::detail::attributePool()}) {
        bytes = bytes - pool->bytesReserved() + pool->bytesInUse();
    }
    return bytes;
}

// One cell: a value, or a note where there is none.
struct Cell {
    std::optional<double> value;
    std::string note;
};

// ---------------------------------------------------------------------------------------------
// The table

enum class Better { Higher, Lower };

struct Row {
    std::string label;
    Better better;
    std::vector<Cell> cells;  // one per library, KpXml first
    std::string target;       // the target with the ratio it refers to, or empty
};

std::string formatValue(double value) {
    char text[32];
    std::snprintf(text, sizeof text, value >= 100 ? "%.0f" : value >= 10 ? "%.1f" : "%.2f", value);
    return text;
}

// KpXml's ratio to a peer: value over value, so above 1 is faster for speeds and more (worse) for
// times and memory.
std::optional<double> ratio(const Row& row, std::size_t peer) {
    if (!row.cells[0].value || !row.cells[peer].value || *row.cells[peer].value == 0) return std::nullopt;
    return *row.cells[0].value / *row.cells[peer].value;
}

std::string targetText(const char* what, std::optional<double> achieved, double limit, Better better) {
    char text[160];
    if (!achieved) {
        std::snprintf(text, sizeof text, "%s: no value", what);
        return text;
    }
    const bool met = better == Better::Higher ? *achieved >= limit : *achieved <= limit;
    std::snprintf(text, sizeof text, "%s %s %g: %.2f, %s", what, better == Better::Higher ? ">=" : "<=", limit,
                  *achieved, met ? "met" : "NOT met");
    return text;
}

void printTable(const std::vector<Row>& rows) {
    const std::vector<Library>& libs = libraries();
    std::printf("\n| |");
    for (const Library& lib : libs) std::printf(" %s |", lib.name);
    for (std::size_t peer = 1; peer < libs.size(); ++peer) std::printf(" KpXml / %s |", libs[peer].name);
    std::printf(" target |\n|---|");
    for (std::size_t i = 0; i < 2 * libs.size() - 1; ++i) std::printf("---|");
    std::printf("---|\n");
    for (const Row& row : rows) {
        std::printf("| %s |", row.label.c_str());
        for (const Cell& cell : row.cells) {
            std::printf(" %s |", cell.value ? formatValue(*cell.value).c_str() : cell.note.c_str());
        }
        for (std::size_t peer = 1; peer < libs.size(); ++peer) {
            const std::optional<double> r = ratio(row, peer);
            std::printf(" %s |", r ? formatValue(*r).c_str() : "");
        }
        std::printf(" %s |\n", row.target.c_str());
    }
}

void progress(const std::string& what) {
    std::fprintf(stderr, "  %s\n", what.c_str());
}

// Seconds per parse of text by lib, the tree's destruction included; nothing when lib refused.
std::optional<double> parseSeconds(const Library& lib, const std::string& text) {
    bool refused = false;
    const double seconds = medianSeconds([&] {
        TextStream stream(text);
        refused = lib.parse(stream.in) == nullptr;
    });
    if (refused) return std::nullopt;
    return seconds;
}

// How the heap stands during a parse row. Cold: the first parse in a fresh process, with malloc's
// defaults, so every page of the tree is faulted in. Warm: the median of repeated parses, with the
// trim and mmap thresholds pinned, as in a process that parses more than once.
enum class Heap { Cold, Warm };

const char* heapName(Heap heap) {
    return heap == Heap::Cold ? "cold" : "warm";
}

// Pins malloc's thresholds: freed memory stays in the heap, and blocks up to 32 MiB (the largest
// threshold malloc takes) come from the heap rather than from a mapping of their own.
void pinHeapThresholds() {
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
}

// Time per parse in the given unit (or MB/s when unit is 0) by lib, with the heap as asked; -1
// when lib refused the document.
double parseValue(const Library& lib, const std::string& text, Heap heap, double unit) {
    std::optional<double> seconds;
    if (heap == Heap::Warm) {
        pinHeapThresholds();
        seconds = parseSeconds(lib, text);
    } else {
        // The process's first parse: every page of the tree is fresh.
        const double start = now(Timing::Processor);
        TextStream stream(text);
        const bool refused = lib.parse(stream.in) == nullptr;
        if (!refused) seconds = now(Timing::Processor) - start;
    }
    if (!seconds) return -1;
    return unit == 0 ? megabytes(text.size()) / *seconds : *seconds / unit;
}

// Internal: parseValue for the document in the file at path, in a fresh process started by
// parseRow; prints the value.
int printParseValue(const std::string& path, const std::string& library, Heap heap, double unit) {
    const std::string text = readFile(path);
    for (const Library& lib : libraries()) {
        if (library != lib.name) continue;
        std::printf("%.17g\n", parseValue(lib, text, heap, unit));
        return 0;
    }
    return 2;
}

// parseValue for every library, each in a fresh process running this program, so that the heap
// is as the row says (no earlier work has filled it or moved malloc's thresholds) and a library
// that crashes on the input cannot end the run.
Row parseRow(const std::string& label, const std::string& text, Heap heap, double unit, const char* refusal = "refused") {
    progress(label);
    Row row{label, unit == 0 ? Better::Higher : Better::Lower, {}, ""};
    const std::string path = temporaryPath("parse.xml");
    writeFile(path, text);
    char unitText[32];
    std::snprintf(unitText, sizeof unitText, "%.17g", unit);
    for (const Library& lib : libraries()) {
        // Cold: the median of three processes' first parse; warm: one process's median.
        std::vector<double> values;
        const char* note = "";
        for (int run = 0; run < (heap == Heap::Cold ? 3 : 1) && *note == '\0'; ++run) {
            const std::optional<double> value =
                inFreshProcess("--parse '" + path + "' " + lib.name + " " + heapName(heap) + " " + unitText);
            if (!value) {
                note = "crash";
            } else if (*value < 0) {
                note = refusal;
            } else {
                values.push_back(*value);
            }
        }
        std::sort(values.begin(), values.end());
        row.cells.push_back(*note != '\0' ? Cell{std::nullopt, note} : Cell{values[values.size() / 2], ""});
    }
    std::remove(path.c_str());
    return row;
}

Row memoryRow(const std::string& label, const std::string& text) {
    progress(label);
    Row row{label, Better::Lower, {}, ""};
    for (const Library& lib : libraries()) {
        TextStream stream(text);
        malloc_trim(0);
        const std::size_t before = heapInUse();
        const std::shared_ptr<void> parsed = lib.parse(stream.in);
        const std::size_t after = heapInUse();
        row.cells.push_back(parsed ? Cell{static_cast<double>(after - before) / (1 << 20), ""} : Cell{std::nullopt, "refused"});
    }
    return row;
}

// The process's resident memory in bytes.
std::size_t residentBytes() {
    std::ifstream statm("/proc/self/statm");
    std::size_t pages = 0;
    std::size_t resident = 0;
    statm >> pages >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

// The resident memory still held after a parsed tree is destroyed, in percent of what the tree
// held, each measured after malloc_trim(0). Across threads: parsed on this thread, destroyed on
// another. Nothing when lib refused.
std::optional<double> heldAfterDestroy(const Library& lib, const std::string& text, bool acrossThreads) {
    malloc_trim(0);
    const double before = static_cast<double>(residentBytes());
    std::shared_ptr<void> parsed;
    {
        TextStream stream(text);
        parsed = lib.parse(stream.in);
    }
    if (parsed == nullptr) return std::nullopt;
    malloc_trim(0);
    const double withTree = static_cast<double>(residentBytes());
    if (acrossThreads) {
        std::thread([&parsed] { parsed.reset(); }).join();
    } else {
        parsed.reset();
    }
    malloc_trim(0);
    const double after = static_cast<double>(residentBytes());
    return std::max(0.0, 100 * (after - before) / (withTree - before));
}

// Internal: heldAfterDestroy for the document in the file at path, in a fresh process started by
// heldAfterDestroyRow, whose heap no earlier work has shaped; prints the percentage, or -1.
int printHeldAfterDestroy(const std::string& path, const std::string& library, bool acrossThreads) {
    const std::string text = readFile(path);
    for (const Library& lib : libraries()) {
        if (library != lib.name) continue;
        const std::optional<double> held = heldAfterDestroy(lib, text, acrossThreads);
        std::printf("%.17g\n", held ? *held : -1.0);
        return 0;
    }
    return 2;
}

// heldAfterDestroy for every library, each in a fresh process.
Row heldAfterDestroyRow(const std::string& label, const std::string& text, bool acrossThreads) {
    progress(label);
    Row row{label, Better::Lower, {}, ""};
    const std::string path = temporaryPath("held.xml");
    writeFile(path, text);
    for (const Library& lib : libraries()) {
        const std::optional<double> held =
            inFreshProcess("--held '" + path + "' " + lib.name + (acrossThreads ? " threads" : " same"));
        row.cells.push_back(held && *held >= 0 ? Cell{*held, ""} : Cell{std::nullopt, "failed"});
    }
    std::remove(path.c_str());
    return row;
}

// Seconds per write of text, parsed by library, to a fresh std::ostringstream, indented by two
// spaces, with the heap warm; nothing when library refused the document or is unknown.
std::optional<double> writeSeconds(const std::string& library, const std::string& text) {
    pinHeapThresholds();
    if (library == "KpXml") {
        TextStream stream(text);
        KpXmlTree tree(stream.in);
        tree.setIndent("  ");
        return medianSeconds([&] {
            std::ostringstream out;
            tree.putToStream(out, true);
        });
    }
    if (library == "pugixml") {
        pugi::xml_document parsed;
        if (!parsed.load_buffer(text.data(), text.size())) return std::nullopt;
        return medianSeconds([&] {
            std::ostringstream out;
            parsed.save(out, "  ");
        });
    }
    if (library == "tinyxml2") {
        tinyxml2::XMLDocument parsed;
        if (parsed.Parse(text.data(), text.size()) != tinyxml2::XML_SUCCESS) return std::nullopt;
        return medianSeconds([&] {
            std::ostringstream out;
            tinyxml2::XMLPrinter printer;
            parsed.Print(&printer);
            out.write(printer.CStr(), printer.CStrSize() - 1);
        });
    }
    if (library == "libxml2") {
        const std::shared_ptr<void> parsed = libxmlParse(text);
        if (parsed == nullptr) return std::nullopt;
        return medianSeconds([&] {
            std::ostringstream out;
            xmlChar* dumped = nullptr;
            int dumpedSize = 0;
            xmlDocDumpFormatMemory(static_cast<xmlDoc*>(parsed.get()), &dumped, &dumpedSize, 1);
            out.write(reinterpret_cast<const char*>(dumped), dumpedSize);
            xmlFree(dumped);
        });
    }
    return std::nullopt;
}

// Internal: writeSeconds for the document in the file at path, in a fresh process started by
// writeRow; prints MB/s, or -1.
int printWriteValue(const std::string& path, const std::string& library) {
    const std::string text = readFile(path);
    const std::optional<double> seconds = writeSeconds(library, text);
    std::printf("%.17g\n", seconds ? megabytes(text.size()) / *seconds : -1.0);
    return 0;
}

// writeSeconds for every library, each in a fresh process running this program. In one process
// the heap would favour the libraries measured later: the memory an earlier library's destroyed
// tree left in the heap (pages already faulted in) would take their string streams' large
// buffers, which otherwise are mapped afresh (and faulted in) on every run.
Row writeRow(const std::string& label, const std::string& text) {
    progress(label);
    Row row{label, Better::Higher, {}, ""};
    const std::string path = temporaryPath("write.xml");
    writeFile(path, text);
    for (const Library& lib : libraries()) {
        const std::optional<double> value = inFreshProcess("--write '" + path + "' " + lib.name);
        row.cells.push_back(!value ? Cell{std::nullopt, "crash"} : *value < 0 ? Cell{std::nullopt, "refused"} : Cell{*value, ""});
    }
    std::remove(path.c_str());
    return row;
}

// Saving to a file through XML_Write_Tree (temporary file, flush to disk, rename) against the
// peers' own file saving (no flush to disk). MB/s of the document's size in KpXml's style.
Row safeSaveRow(const std::string& label, const std::string& text, int tree) {
    progress(label);
    Row row{label, Better::Higher, {}, ""};
    const double size = megabytes(text.size());
    const std::string target = temporaryPath("saved.xml");
    row.cells.push_back({size / medianSeconds([&] { XML_Write_Tree(tree, target.c_str()); }, Timing::Wall), ""});
    {
        pugi::xml_document parsed;
        parsed.load_buffer(text.data(), text.size());
        row.cells.push_back({size / medianSeconds([&] { parsed.save_file(target.c_str(), "  "); }, Timing::Wall), ""});
    }
    {
        tinyxml2::XMLDocument parsed;
        parsed.Parse(text.data(), text.size());
        row.cells.push_back({size / medianSeconds([&] { parsed.SaveFile(target.c_str()); }, Timing::Wall), ""});
    }
    {
        const std::shared_ptr<void> parsed = libxmlParse(text);
        row.cells.push_back({size / medianSeconds([&] {
                                 xmlSaveFormatFile(target.c_str(), static_cast<xmlDoc*>(parsed.get()), 1);
                             }, Timing::Wall),
                             ""});
    }
    std::remove(target.c_str());
    return row;
}

std::string machine() {
    std::string model = "unknown processor";
    std::ifstream cpuinfo("/proc/cpuinfo");
    for (std::string line; std::getline(cpuinfo, line);) {
        if (line.rfind("model name", 0) == 0) {
            model = line.substr(line.find(':') + 2);
            break;
        }
    }
    utsname system{};
    uname(&system);
    return model + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " cores, " + system.sysname + " " +
           system.release + ", pugixml " + std::to_string(PUGIXML_VERSION / 1000) + "." + std::to_string(PUGIXML_VERSION % 1000 / 10) + ", tinyxml2 " +
           std::to_string(TIXML2_MAJOR_VERSION) + "." + std::to_string(TIXML2_MINOR_VERSION) + ", libxml2 " +
           LIBXML_DOTTED_VERSION;
}

void setTarget(Row& row, const char* what, std::size_t peer, double limit) {
    row.target = targetText(what, ratio(row, peer), limit, row.better);
}

}  // namespace

int main(int argc, char** argv) {
    // Internal: one parse counted under callgrind (see Instructions.h).
    if (argc == 4 && std::string(argv[1]) == "--count") return bench::countOneRun(ownPath(), argv[2], argv[3]);
    // Internal: writes a counted document to a file, for --count.
    if (argc == 4 && std::string(argv[1]) == "--document") return bench::writeDocument(argv[2], argv[3]);
    // Internal: one measurement of memory held after destruction, in a fresh process.
    if (argc == 5 && std::string(argv[1]) == "--held") return printHeldAfterDestroy(argv[2], argv[3], std::string(argv[4]) == "threads");
    // Internal: one write row's cell, in a fresh process.
    if (argc == 4 && std::string(argv[1]) == "--write") return printWriteValue(argv[2], argv[3]);
    // Internal: one parse row's cell, in a fresh process.
    if (argc == 6 && std::string(argv[1]) == "--parse") {
        return printParseValue(argv[2], argv[3], std::string(argv[4]) == "warm" ? Heap::Warm : Heap::Cold, std::atof(argv[5]));
    }
    // An optional argument picks the rows whose names contain it; "instructions" picks the
    // instruction table, which runs only then or when there is no argument.
    const std::string only = argc > 1 ? argv[1] : "";
    const auto wanted = [&](const std::string& row) { return row.find(only) != std::string::npos; };
    if (only == "instructions") {
        bench::printInstructionTable(ownPath());
        return 0;
    }
    xmlInitParser();
    std::fprintf(stderr, "generating documents\n");
    const std::string small = bench::generatedDocument(2 * 1024);
    const std::string mb1 = bench::generatedDocument(1000 * 1000);
    const std::string mb10 = bench::generatedDocument(10 * 1000 * 1000);
    const std::string mb50 = bench::generatedDocument(50 * 1000 * 1000);
    const std::string mb100 = bench::generatedDocument(100 * 1000 * 1000);
    const std::string wide = bench::wideDocument(1000000);
    const std::string deep = bench::deepDocument(1000000);
    std::fprintf(stderr, "measuring\n");

    std::vector<Row> rows;
    const std::string smallLabel = "parse a " + std::to_string(small.size()) + "-byte document, µs";
    const std::string wideLabel = "parse one root with 1,000,000 children, ms";
    const std::string deepLabel = "parse 1,000,000 nesting levels, ms";
    double istreamSpeed = 0;
    for (const Heap heap : {Heap::Cold, Heap::Warm}) {
        const auto label = [&](const std::string& what) { return what + ", " + heapName(heap); };
        const auto sized = [&](const std::string& text) {
            return label("parse from std::istream (" + formatValue(megabytes(text.size())) + " MB), MB/s");
        };
        for (const std::string* text : {&mb1, &mb10, &mb100}) {
            const bool forReadTree = text == &mb100 && heap == Heap::Warm && wanted("XML_Read_Tree");
            if (!wanted(sized(*text)) && !forReadTree) continue;
            rows.push_back(parseRow(sized(*text), *text, heap, 0));
            if (text != &mb1 && heap == Heap::Warm) setTarget(rows.back(), "pugixml", 1, 0.55);
            if (text == &mb100 && heap == Heap::Warm && rows.back().cells[0].value) istreamSpeed = *rows.back().cells[0].value;
        }
        if (wanted(label(smallLabel))) {
            Row smallRow = parseRow(label(smallLabel), small, heap, 1e-6);
            if (heap == Heap::Warm) {
                // For a time, the speed ratio is the peer's time over KpXml's.
                const std::optional<double> smallRatio = ratio(smallRow, 1);
                smallRow.target = targetText("speed vs pugixml", smallRatio ? std::optional<double>(1 / *smallRatio) : std::nullopt,
                                             0.5, Better::Higher);
            }
            rows.push_back(smallRow);
        }
        if (wanted(label(wideLabel))) {
            rows.push_back(parseRow(label(wideLabel), wide, heap, 1e-3));
            if (heap == Heap::Warm) setTarget(rows.back(), "pugixml", 1, 2.0);
        }
        if (wanted(label(deepLabel))) {
            rows.push_back(parseRow(label(deepLabel), deep, heap, 1e-3, "depth limit"));
            if (heap == Heap::Warm) setTarget(rows.back(), "pugixml", 1, 2.0);
        }
    }

    // The rows below run in this process, warm.
    pinHeapThresholds();
    // The C interface's files: the document read from a plain file, saved (CR LF), read back.
    const std::string plainPath = temporaryPath("plain.xml");
    const std::string crlfPath = temporaryPath("crlf.xml");
    writeFile(plainPath, mb100);
    const int tree = XML_Get_Tree("bench");
    XML_Read_Tree(tree, plainPath.c_str());
    std::remove(plainPath.c_str());
    XML_Write_Tree(tree, crlfPath.c_str());
    if (wanted("XML_Read_Tree") && istreamSpeed > 0) {
        progress("XML_Read_Tree");
        Row row{"`XML_Read_Tree` of the 100 MB document as a CR LF file, MB/s, warm", Better::Higher, {}, ""};
        row.cells.push_back({megabytes(mb100.size()) / medianSeconds([&] { XML_Read_Tree(tree, crlfPath.c_str()); }), ""});
        row.cells.resize(libraries().size(), Cell{std::nullopt, ""});
        row.target = targetText("KpXml's istream parse", *row.cells[0].value / istreamSpeed, 0.8, Better::Higher);
        rows.push_back(row);
    }
    std::remove(crlfPath.c_str());

    if (wanted("write to std::ostringstream")) {
        rows.push_back(writeRow("write to std::ostringstream (100 MB), MB/s, warm", mb100));
        setTarget(rows.back(), "pugixml", 1, 1.0);
    }

    // The C interface's tree has no indentation: each library saves the same document.
    std::string unindented;
    {
        TextStream stream(mb100);
        KpXmlTree document(stream.in);
        std::ostringstream out;
        document.putToStream(out, true);
        unindented = std::move(out).str();
    }
    const std::string saveLabel = "safe save `XML_Write_Tree` incl. flush to disk vs the peers' file saving, MB/s, warm";
    if (wanted(saveLabel)) {
        rows.push_back(safeSaveRow(saveLabel, unindented, tree));
        setTarget(rows.back(), "pugixml `save_file`", 1, 1.0);
    }
    XML_Delete_Tree(tree);

    const std::string memoryLabel = "tree memory for the 100 MB document (mmapped blocks included), MiB";
    if (wanted(memoryLabel)) rows.push_back(memoryRow(memoryLabel, mb100));

    for (const bool acrossThreads : {false, true}) {
        const std::string heldLabel =
            std::string("memory held after destroying a parsed 50 MB document (RSS after malloc_trim), % of the tree's, ") +
            (acrossThreads ? "destroyed on another thread" : "same thread");
        if (!wanted(heldLabel)) continue;
        rows.push_back(heldAfterDestroyRow(heldLabel, mb50, acrossThreads));
        rows.back().target = targetText("KpXml's own", rows.back().cells[0].value, 5.0, Better::Lower);
    }

    std::printf("Machine: %s\n", machine().c_str());
    printTable(rows);
    xmlCleanupParser();
    if (only.empty()) bench::printInstructionTable(ownPath());
    return 0;
}
