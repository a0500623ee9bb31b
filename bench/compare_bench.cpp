// KpXml side by side with pugixml, tinyxml2 and libxml2, measured in one run and printed as one
// Markdown table with KpXml's ratio to each peer:
//
//   tools/install-deps.sh --bench
//   cmake --preset bench && cmake --build --preset bench -j2 && build/bench/bin/kpxml_bench
//
// Documents are generated in KpXml's own writing style (records with attributes, numeric leaves
// and text that needs escaping, indented by two spaces, with the declaration line). Every time is
// the median of several samples taken after a warm-up run; a sample repeats the work until it
// lasts at least 0.1 s. Times are processor time of this process (user and system), except for
// saving to files, which is wall-clock time because it includes waiting for the disk. The machine
// may be shared: compare ratios within one run only.
//
// Parsing is timed from an std::istream over the document's bytes (no copy before the parse) up
// to the destruction of the parsed tree. tinyxml2 and libxml2 parse from memory only: reading the
// stream into a string is part of their work. Tree memory is the heap that the parsed tree holds.
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <malloc.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <kpxml/KpXml.h>
#include <kpxml/KpXmlApi.h>

#include "xml/ObjectPool.h"

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
#include <random>
#include <sstream>
#include <string>
#include <tinyxml2.h>
#include <vector>

namespace {

// ---------------------------------------------------------------------------------------------
// Documents

// A document like the files KpXml writes, with about targetBytes bytes.
std::string generatedDocument(std::size_t targetBytes) {
    constexpr std::size_t sampleRecords = 200;
    std::mt19937 random(12345);
    KpXmlTree tree("project");
    tree.setIndent("  ");
    KpXmlData* root = tree.getRoot();
    root->setAttribute("version", 3);
    std::size_t records = sampleRecords;
    for (std::size_t record = 0; record < records; ++record) {
        KpXmlData* item = root->createChild("record");
        item->setAttribute("id", static_cast<int>(record));
        item->setAttribute("name", "item " + std::to_string(record) + " <" + std::to_string(random() % 1000) + ">");
        item->setAttribute("weight", static_cast<double>(random() % 100000) / 7.0);
        for (const char* axis : {"X", "Y", "Z"}) {
            KpXmlDataUtil::setChildData(item, axis, static_cast<double>(random() % 1000000) / 1000.0, "%.3f");
        }
        item->createChild("note")->setData("load case " + std::to_string(random() % 50) + " & margin");
        if (record + 1 == sampleRecords) {
            // Enough records for the wanted size, judged by the first ones.
            std::ostringstream sample;
            tree.putToStream(sample, true);
            const double perRecord = static_cast<double>(sample.tellp()) / sampleRecords;
            records = std::max<std::size_t>(1, static_cast<std::size_t>(static_cast<double>(targetBytes) / perRecord));
            if (records < sampleRecords) {
                std::vector<KpXmlData*>& children = root->getChildren();
                for (std::size_t i = records; i < children.size(); ++i) delete children[i];
                children.resize(records);
            }
        }
    }
    std::ostringstream out;
    tree.putToStream(out, true);
    return std::move(out).str();
}

// One root with count children, as KpXml writes it.
std::string wideDocument(std::size_t count) {
    std::string text = "<?xml version=\"1.0\"?>\n<list>\n";
    for (std::size_t i = 0; i < count; ++i) text += "  <item id=\"" + std::to_string(i) + "\" />\n";
    text += "</list>\n";
    return text;
}

// depth elements nested in each other, as KpXml writes them without indentation.
std::string deepDocument(std::size_t depth) {
    std::string text = "<?xml version=\"1.0\"?>\n";
    text.reserve(text.size() + depth * 9);
    for (std::size_t i = 1; i < depth; ++i) text += "<n>\n";
    text += "<n />\n";
    for (std::size_t i = 1; i < depth; ++i) text += "</n>\n";
    return text;
}

// An input stream over text that is not copied; it can be positioned anywhere, as a string stream can.
class TextViewBuffer : public std::streambuf {
public:
    explicit TextViewBuffer(const std::string& text) {
        char* begin = const_cast<char*>(text.data());
        setg(begin, begin, begin + text.size());
    }

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir way, std::ios_base::openmode) override {
        const off_type base = way == std::ios_base::beg ? 0 : way == std::ios_base::cur ? gptr() - eback() : egptr() - eback();
        const off_type target = base + offset;
        if (target < 0 || target > egptr() - eback()) return pos_type(off_type(-1));
        setg(eback(), eback() + target, egptr());
        return pos_type(target);
    }
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override {
        return seekoff(off_type(position), std::ios_base::beg, which);
    }
};

struct TextStream {
    explicit TextStream(const std::string& text) : buffer(text), in(&buffer) {}
    TextViewBuffer buffer;
    std::istream in;
};

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

// Heap bytes in use; memory in KpXml's pools counts only where its slots are in use, since freed
// slots stay with the pools.
std::size_t heapInUse() {
    std::size_t bytes = mallinfo2().uordblks;
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

// Runs measure in a child process, so that a library that crashes on the input cannot end the run.
Cell isolated(const std::function<std::optional<double>()>& measure, const char* refusal) {
    std::fflush(stdout);
    int channel[2];
    if (pipe(channel) != 0) return {std::nullopt, "no pipe"};
    const pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        const std::optional<double> result = measure();
        const double sent = result ? *result : -1.0;
        const ssize_t written = write(channel[1], &sent, sizeof sent);
        _exit(written == sizeof sent ? 0 : 1);
    }
    close(channel[1]);
    double received = -1.0;
    const ssize_t got = read(channel[0], &received, sizeof received);
    close(channel[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) return {std::nullopt, "crash"};
    if (got != sizeof received) return {std::nullopt, "failed"};
    if (received < 0) return {std::nullopt, refusal};
    return {received, ""};
}

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
    std::snprintf(text, sizeof text, "%s %s %.1f: %.2f, %s", what, better == Better::Higher ? ">=" : "<=", limit,
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

// Parse throughput in MB/s, for every library.
Row parseRow(const std::string& label, const std::string& text) {
    progress(label);
    Row row{label, Better::Higher, {}, ""};
    for (const Library& lib : libraries()) {
        const std::optional<double> seconds = parseSeconds(lib, text);
        row.cells.push_back(seconds ? Cell{megabytes(text.size()) / *seconds, ""} : Cell{std::nullopt, "refused"});
    }
    return row;
}

// Time per parse in the given unit, for every library; where a library may crash on the input,
// each measures in a child process.
Row timedParseRow(const std::string& label, const std::string& text, double unit, bool mayCrash) {
    progress(label);
    Row row{label, Better::Lower, {}, ""};
    for (const Library& lib : libraries()) {
        const auto measure = [&]() -> std::optional<double> {
            const std::optional<double> seconds = parseSeconds(lib, text);
            if (!seconds) return std::nullopt;
            return *seconds / unit;
        };
        if (mayCrash) {
            row.cells.push_back(isolated(measure, "depth limit"));
        } else {
            const std::optional<double> value = measure();
            row.cells.push_back(value ? Cell{value, ""} : Cell{std::nullopt, "refused"});
        }
    }
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

Row writeRow(const std::string& label, const std::string& text) {
    progress(label);
    Row row{label, Better::Higher, {}, ""};
    const double size = megabytes(text.size());
    {
        TextStream stream(text);
        KpXmlTree tree(stream.in);
        tree.setIndent("  ");
        row.cells.push_back({size / medianSeconds([&] {
                                 std::ostringstream out;
                                 tree.putToStream(out, true);
                             }),
                             ""});
    }
    {
        pugi::xml_document parsed;
        parsed.load_buffer(text.data(), text.size());
        row.cells.push_back({size / medianSeconds([&] {
                                 std::ostringstream out;
                                 parsed.save(out, "  ");
                             }),
                             ""});
    }
    {
        tinyxml2::XMLDocument parsed;
        parsed.Parse(text.data(), text.size());
        row.cells.push_back({size / medianSeconds([&] {
                                 std::ostringstream out;
                                 tinyxml2::XMLPrinter printer;
                                 parsed.Print(&printer);
                                 out.write(printer.CStr(), printer.CStrSize() - 1);
                             }),
                             ""});
    }
    {
        const std::shared_ptr<void> parsed = libxmlParse(text);
        row.cells.push_back({size / medianSeconds([&] {
                                 std::ostringstream out;
                                 xmlChar* dumped = nullptr;
                                 int dumpedSize = 0;
                                 xmlDocDumpFormatMemory(static_cast<xmlDoc*>(parsed.get()), &dumped, &dumpedSize, 1);
                                 out.write(reinterpret_cast<const char*>(dumped), dumpedSize);
                                 xmlFree(dumped);
                             }),
                             ""});
    }
    return row;
}

std::string temporaryPath(const char* name) {
    const char* directory = std::getenv("TMPDIR");
    return std::string(directory != nullptr && *directory != '\0' ? directory : "/tmp") + "/kpxml-bench-" +
           std::to_string(getpid()) + "-" + name;
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary).write(text.data(), static_cast<std::streamsize>(text.size()));
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
    // An optional argument picks the rows whose names contain it.
    const std::string only = argc > 1 ? argv[1] : "";
    const auto wanted = [&](const std::string& row) { return row.find(only) != std::string::npos; };
    xmlInitParser();
    std::fprintf(stderr, "generating documents\n");
    const std::string small = generatedDocument(2 * 1024);
    const std::string mb1 = generatedDocument(1000 * 1000);
    const std::string mb10 = generatedDocument(10 * 1000 * 1000);
    const std::string mb100 = generatedDocument(100 * 1000 * 1000);
    std::fprintf(stderr, "measuring\n");

    std::vector<Row> rows;
    auto label = [](const char* what, const std::string& text) {
        return std::string(what) + " (" + formatValue(megabytes(text.size())) + " MB), MB/s";
    };
    if (wanted("parse from std::istream")) {
        rows.push_back(parseRow(label("parse from std::istream", mb1), mb1));
        rows.push_back(parseRow(label("parse from std::istream", mb10), mb10));
        setTarget(rows.back(), "pugixml", 1, 0.6);
    }
    double istreamSpeed = 0;
    if (wanted("parse from std::istream") || wanted("XML_Read_Tree")) {
        Row& parse100 = rows.emplace_back(parseRow(label("parse from std::istream", mb100), mb100));
        setTarget(parse100, "pugixml", 1, 0.6);
        istreamSpeed = *parse100.cells[0].value;
    }

    const std::string smallLabel = "parse a " + std::to_string(small.size()) + "-byte document, µs";
    if (wanted(smallLabel)) {
        Row smallRow = timedParseRow(smallLabel, small, 1e-6, false);
        // For a time, the speed ratio is the peer's time over KpXml's.
        const std::optional<double> smallRatio = ratio(smallRow, 1);
        smallRow.target = targetText("speed vs pugixml", smallRatio ? std::optional<double>(1 / *smallRatio) : std::nullopt,
                                     0.5, Better::Higher);
        rows.push_back(smallRow);
    }

    // The C interface's files: the document read from a plain file, saved (CR LF), read back.
    const std::string plainPath = temporaryPath("plain.xml");
    const std::string crlfPath = temporaryPath("crlf.xml");
    writeFile(plainPath, mb100);
    const int tree = XML_Get_Tree("bench");
    XML_Read_Tree(tree, plainPath.c_str());
    std::remove(plainPath.c_str());
    XML_Write_Tree(tree, crlfPath.c_str());
    if (wanted("XML_Read_Tree")) {
        progress("XML_Read_Tree");
        Row row{"`XML_Read_Tree` of the 100 MB document as a CR LF file, MB/s", Better::Higher, {}, ""};
        row.cells.push_back({megabytes(mb100.size()) / medianSeconds([&] { XML_Read_Tree(tree, crlfPath.c_str()); }), ""});
        row.cells.resize(libraries().size(), Cell{std::nullopt, ""});
        row.target = targetText("KpXml's istream parse", *row.cells[0].value / istreamSpeed, 0.8, Better::Higher);
        rows.push_back(row);
    }
    std::remove(crlfPath.c_str());

    if (wanted("write to std::ostringstream")) {
        rows.push_back(writeRow("write to std::ostringstream (100 MB), MB/s", mb100));
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
    const std::string saveLabel = "safe save `XML_Write_Tree` incl. flush to disk vs the peers' file saving, MB/s";
    if (wanted(saveLabel)) {
        rows.push_back(safeSaveRow(saveLabel, unindented, tree));
        setTarget(rows.back(), "pugixml `save_file`", 1, 0.8);
    }
    XML_Delete_Tree(tree);

    const std::string memoryLabel = "tree memory for the 100 MB document, MiB";
    if (wanted(memoryLabel)) {
        rows.push_back(memoryRow(memoryLabel, mb100));
        setTarget(rows.back(), "pugixml", 1, 1.2);
    }

    const std::string wideLabel = "parse one root with 1,000,000 children, ms";
    if (wanted(wideLabel)) {
        rows.push_back(timedParseRow(wideLabel, wideDocument(1000000), 1e-3, false));
        setTarget(rows.back(), "pugixml", 1, 2.0);
    }

    const std::string deepLabel = "parse 1,000,000 nesting levels, ms";
    if (wanted(deepLabel)) {
        rows.push_back(timedParseRow(deepLabel, deepDocument(1000000), 1e-3, true));
        setTarget(rows.back(), "pugixml", 1, 2.0);
    }

    std::printf("Machine: %s\n", machine().c_str());
    printTable(rows);
    xmlCleanupParser();
    return 0;
}
