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

#include "xml/ObjectPool.h"

#include <memory>
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

// Heap bytes in use; memory in KpXml's pools counts only where its slots are in use, since freed
// slots stay with the pools.
std::size_t heapInUse() {
    std::size_t bytes = mallinfo2().uordblks;
    for (const kpxml::ObjectPool* pool : {&kpxml::nodePool(), &kpxml::attributePool()}) {
        bytes = bytes - pool->bytesReserved() + pool->bytesInUse();
    }
    return bytes;
}

void reportThroughput(benchmark::State& state) {
    const Document& document = generatedDocument();
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * document.text.size()));
}

// Parses the document from a fresh string stream per iteration; parse returns the parsed document
// (an owning object). Reports throughput and the heap bytes per element that the document holds.
template <typename Parse>
void measureParse(benchmark::State& state, Parse parse) {
    const Document& document = generatedDocument();
    std::size_t before = 0;
    std::size_t after = 0;
    for (auto _ : state) {
        std::istringstream in(document.text);
        before = heapInUse();
        auto parsed = parse(in);
        after = heapInUse();
        benchmark::DoNotOptimize(parsed);
    }
    reportThroughput(state);
    state.counters["bytes_per_element"] = static_cast<double>(after - before) / static_cast<double>(document.elements);
}

// Writes the document to a fresh string stream per iteration.
template <typename Write>
void measureWrite(benchmark::State& state, Write write) {
    for (auto _ : state) {
        std::ostringstream out;
        write(out);
        benchmark::DoNotOptimize(out.tellp());
    }
    reportThroughput(state);
}

void KpXml_Parse(benchmark::State& state) {
    measureParse(state, [](std::istream& in) { return std::make_unique<KpXmlTree>(in); });
}

void KpXml_Write(benchmark::State& state) {
    std::istringstream in(generatedDocument().text);
    KpXmlTree tree(in);
    tree.setIndent("  ");
    measureWrite(state, [&](std::ostream& out) { tree.putToStream(out, true); });
}

void Pugixml_Parse(benchmark::State& state) {
    measureParse(state, [](std::istream& in) {
        auto parsed = std::make_unique<pugi::xml_document>();
        parsed->load(in);
        return parsed;
    });
}

void Pugixml_Write(benchmark::State& state) {
    pugi::xml_document parsed;
    parsed.load_string(generatedDocument().text.c_str());
    measureWrite(state, [&](std::ostream& out) { parsed.save(out, "  "); });
}

// tinyxml2 and libxml2 parse from memory only: reading the stream is part of their work, as it is
// for the others; the text is released before the heap is measured.
void Tinyxml2_Parse(benchmark::State& state) {
    measureParse(state, [](std::istream& in) {
        auto parsed = std::make_unique<tinyxml2::XMLDocument>();
        const std::string text = readAll(in);
        parsed->Parse(text.data(), text.size());
        return parsed;
    });
}

void Tinyxml2_Write(benchmark::State& state) {
    tinyxml2::XMLDocument parsed;
    parsed.Parse(generatedDocument().text.c_str());
    measureWrite(state, [&](std::ostream& out) {
        tinyxml2::XMLPrinter printer;
        parsed.Print(&printer);
        out.write(printer.CStr(), printer.CStrSize() - 1);
    });
}

using LibxmlDocument = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;

LibxmlDocument libxmlParse(const std::string& text) {
    return LibxmlDocument(xmlReadMemory(text.data(), static_cast<int>(text.size()), "bench.xml", nullptr, 0),
                          &xmlFreeDoc);
}

void Libxml2_Parse(benchmark::State& state) {
    measureParse(state, [](std::istream& in) { return libxmlParse(readAll(in)); });
}

void Libxml2_Write(benchmark::State& state) {
    const LibxmlDocument parsed = libxmlParse(generatedDocument().text);
    measureWrite(state, [&](std::ostream& out) {
        xmlChar* dumped = nullptr;
        int size = 0;
        xmlDocDumpFormatMemory(parsed.get(), &dumped, &size, 1);
        out.write(reinterpret_cast<const char*>(dumped), size);
        xmlFree(dumped);
    });
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
