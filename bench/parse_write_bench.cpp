// Parse and write throughput on a generated document of about 10 MB in KpXml's own writing
// style, for KpXml and, in the same run, pugixml, tinyxml2 and libxml2. Each parse benchmark
// also reports the heap bytes per element that the parsed document holds.
//
//   cmake --preset bench && cmake --build --preset bench && build/bench/bin/kpxml_bench
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <malloc.h>

#include <kpxml/KpXml.h>

#include <pugixml.hpp>
#include <random>
#include <sstream>
#include <string>
#include <tinyxml2.h>

namespace {

constexpr std::size_t targetSize = 10u << 20;

struct Document {
    std::string text;
    std::size_t elements = 0;
};

// A document like the files KpXml writes: records with attributes, numeric leaves, some text that
// needs escaping, indented by two spaces, with the declaration line.
const Document& generatedDocument() {
    static const Document document = [] {
        std::mt19937 random(12345);
        KpXmlTree tree("project");
        tree.setIndent("  ");
        KpXmlData* root = tree.getRoot();
        root->setAttribute("version", 3);
        Document result;
        result.elements = 1;
        for (int record = 0; result.text.size() < targetSize; ++record) {
            KpXmlData* item = root->createChild("record");
            item->setAttribute("id", record);
            item->setAttribute("name", "item " + std::to_string(record) + " <" + std::to_string(random() % 1000) + ">");
            item->setAttribute("weight", static_cast<double>(random() % 100000) / 7.0);
            for (const char* axis : {"X", "Y", "Z"}) {
                KpXmlDataUtil::setChildData(item, axis, static_cast<double>(random() % 1000000) / 1000.0, "%.3f");
            }
            item->createChild("note")->setData("load case " + std::to_string(random() % 50) + " & margin");
            result.elements += 5;
            if (record % 2000 == 1999) {
                std::ostringstream out;
                tree.putToStream(out, true);
                result.text = out.str();
            }
        }
        return result;
    }();
    return document;
}

// The whole stream as one string, read in blocks (for the parsers that take memory only).
std::string readAll(std::istream& in) {
    std::ostringstream out;
    out << in.rdbuf();
    return std::move(out).str();
}

std::size_t heapInUse() {
    return mallinfo2().uordblks;
}

void reportThroughput(benchmark::State& state) {
    const Document& document = generatedDocument();
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * document.text.size()));
}

void reportBytesPerElement(benchmark::State& state, std::size_t before, std::size_t after) {
    state.counters["bytes_per_element"] =
        static_cast<double>(after - before) / static_cast<double>(generatedDocument().elements);
}

// --- KpXml -------------------------------------------------------------------------------

void KpXml_Parse(benchmark::State& state) {
    const Document& document = generatedDocument();
    std::size_t before = 0, after = 0;
    for (auto _ : state) {
        std::istringstream in(document.text);
        before = heapInUse();
        KpXmlTree tree(in);
        after = heapInUse();
        benchmark::DoNotOptimize(tree.getRoot());
    }
    reportThroughput(state);
    reportBytesPerElement(state, before, after);
}

void KpXml_Write(benchmark::State& state) {
    std::istringstream in(generatedDocument().text);
    KpXmlTree tree(in);
    tree.setIndent("  ");
    for (auto _ : state) {
        std::ostringstream out;
        tree.putToStream(out, true);
        benchmark::DoNotOptimize(out.tellp());
    }
    reportThroughput(state);
}

// --- pugixml -----------------------------------------------------------------------------

void Pugixml_Parse(benchmark::State& state) {
    const Document& document = generatedDocument();
    std::size_t before = 0, after = 0;
    for (auto _ : state) {
        std::istringstream in(document.text);
        before = heapInUse();
        pugi::xml_document parsed;
        parsed.load(in);
        after = heapInUse();
        benchmark::DoNotOptimize(parsed.first_child());
    }
    reportThroughput(state);
    reportBytesPerElement(state, before, after);
}

void Pugixml_Write(benchmark::State& state) {
    pugi::xml_document parsed;
    parsed.load_string(generatedDocument().text.c_str());
    for (auto _ : state) {
        std::ostringstream out;
        parsed.save(out, "  ");
        benchmark::DoNotOptimize(out.tellp());
    }
    reportThroughput(state);
}

// --- tinyxml2 ----------------------------------------------------------------------------

void Tinyxml2_Parse(benchmark::State& state) {
    const Document& document = generatedDocument();
    std::size_t before = 0, after = 0;
    for (auto _ : state) {
        // tinyxml2 parses from memory only: reading the stream is part of the work, as for the others.
        std::istringstream in(document.text);
        before = heapInUse();
        const std::string text = readAll(in);
        tinyxml2::XMLDocument parsed;
        parsed.Parse(text.data(), text.size());
        after = heapInUse() - text.capacity();
        benchmark::DoNotOptimize(parsed.RootElement());
    }
    reportThroughput(state);
    reportBytesPerElement(state, before, after);
}

void Tinyxml2_Write(benchmark::State& state) {
    tinyxml2::XMLDocument parsed;
    parsed.Parse(generatedDocument().text.c_str());
    for (auto _ : state) {
        tinyxml2::XMLPrinter printer;
        parsed.Print(&printer);
        std::ostringstream out;
        out.write(printer.CStr(), printer.CStrSize() - 1);
        benchmark::DoNotOptimize(out.tellp());
    }
    reportThroughput(state);
}

// --- libxml2 -----------------------------------------------------------------------------

void Libxml2_Parse(benchmark::State& state) {
    const Document& document = generatedDocument();
    std::size_t before = 0, after = 0;
    for (auto _ : state) {
        std::istringstream in(document.text);
        before = heapInUse();
        const std::string text = readAll(in);
        xmlDocPtr parsed = xmlReadMemory(text.data(), static_cast<int>(text.size()), "bench.xml", nullptr, 0);
        after = heapInUse() - text.capacity();
        benchmark::DoNotOptimize(parsed);
        xmlFreeDoc(parsed);
    }
    reportThroughput(state);
    reportBytesPerElement(state, before, after);
}

void Libxml2_Write(benchmark::State& state) {
    const std::string& text = generatedDocument().text;
    xmlDocPtr parsed = xmlReadMemory(text.data(), static_cast<int>(text.size()), "bench.xml", nullptr, 0);
    for (auto _ : state) {
        xmlChar* dumped = nullptr;
        int size = 0;
        xmlDocDumpFormatMemory(parsed, &dumped, &size, 1);
        std::ostringstream out;
        out.write(reinterpret_cast<const char*>(dumped), size);
        xmlFree(dumped);
        benchmark::DoNotOptimize(out.tellp());
    }
    xmlFreeDoc(parsed);
    reportThroughput(state);
}

}  // namespace

BENCHMARK(KpXml_Parse)->Unit(benchmark::kMillisecond);
BENCHMARK(Pugixml_Parse)->Unit(benchmark::kMillisecond);
BENCHMARK(Tinyxml2_Parse)->Unit(benchmark::kMillisecond);
BENCHMARK(Libxml2_Parse)->Unit(benchmark::kMillisecond);
BENCHMARK(KpXml_Write)->Unit(benchmark::kMillisecond);
BENCHMARK(Pugixml_Write)->Unit(benchmark::kMillisecond);
BENCHMARK(Tinyxml2_Write)->Unit(benchmark::kMillisecond);
BENCHMARK(Libxml2_Write)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
