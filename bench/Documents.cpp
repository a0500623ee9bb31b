#include "Documents.h"

#include <kpxml/KpXml.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <vector>

namespace bench {

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

std::string orderDocument(std::size_t targetBytes) {
    static const char* const customers[] = {"Jane Q. Public &amp; Co.", "Erik Lindqvist", "Acme Hardware Ltd",
                                            "M\xC3\xBCller GmbH", "Nakamura Trading"};
    static const char* const products[] = {"Widget, blue", "Bracket 40 mm", "Hinge (stainless)", "Cable tie x100",
                                           "Spring &quot;heavy&quot;"};
    std::mt19937 random(54321);
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<orders>\n";
    for (unsigned number = 10001; text.size() < targetBytes; ++number) {
        text += "  <order number=\"" + std::to_string(number) + "\" date=\"2024-0" + std::to_string(1 + random() % 9) +
                "-1" + std::to_string(random() % 10) + "\" status=\"" + (random() % 3 == 0 ? "open" : "shipped") + "\">\n";
        text += "    <customer id=\"C" + std::to_string(random() % 1000) + "\">" + customers[random() % 5] + "</customer>\n";
        text += "    <address street=\"" + std::to_string(1 + random() % 200) + " Long Road\" city=\"Springfield\" zip=\"" +
                std::to_string(10000 + random() % 90000) + "\"/>\n";
        const unsigned lines = 1 + random() % 4;
        unsigned cents = 0;
        for (unsigned line = 0; line < lines; ++line) {
            const unsigned price = 100 + random() % 9900;
            const unsigned quantity = 1 + random() % 20;
            cents += price * quantity;
            text += "    <line sku=\"A-" + std::to_string(1000 + random() % 9000) + "\" quantity=\"" +
                    std::to_string(quantity) + "\" price=\"" + std::to_string(price / 100) + "." +
                    std::to_string(price % 100 / 10) + std::to_string(price % 10) + "\">" + products[random() % 5] +
                    "</line>\n";
        }
        text += "    <total currency=\"EUR\">" + std::to_string(cents / 100) + "." + std::to_string(cents % 100 / 10) +
                std::to_string(cents % 10) + "</total>\n  </order>\n";
    }
    text += "</orders>\n";
    return text;
}

std::string wideDocument(std::size_t count) {
    std::string text = "<?xml version=\"1.0\"?>\n<list>\n";
    for (std::size_t i = 0; i < count; ++i) text += "  <item id=\"" + std::to_string(i) + "\" />\n";
    text += "</list>\n";
    return text;
}

std::string deepDocument(std::size_t depth) {
    std::string text = "<?xml version=\"1.0\"?>\n";
    text.reserve(text.size() + depth * 9);
    for (std::size_t i = 1; i < depth; ++i) text += "<n>\n";
    text += "<n />\n";
    for (std::size_t i = 1; i < depth; ++i) text += "</n>\n";
    return text;
}

std::string temporaryPath(const char* name) {
    const char* directory = std::getenv("TMPDIR");
    return std::string(directory != nullptr && *directory != '\0' ? directory : "/tmp") + "/kpxml-bench-" +
           std::to_string(getpid()) + "-" + name;
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary).write(text.data(), static_cast<std::streamsize>(text.size()));
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    std::string text(static_cast<std::size_t>(std::max<std::streamoff>(0, in.tellg())), '\0');
    in.seekg(0);
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    return text;
}

TextViewBuffer::TextViewBuffer(const std::string& text) {
    char* begin = const_cast<char*>(text.data());
    setg(begin, begin, begin + text.size());
}

TextViewBuffer::pos_type TextViewBuffer::seekoff(off_type offset, std::ios_base::seekdir way, std::ios_base::openmode) {
    const off_type base = way == std::ios_base::beg ? 0 : way == std::ios_base::cur ? gptr() - eback() : egptr() - eback();
    const off_type target = base + offset;
    if (target < 0 || target > egptr() - eback()) return pos_type(off_type(-1));
    setg(eback(), eback() + target, egptr());
    return pos_type(target);
}

TextViewBuffer::pos_type TextViewBuffer::seekpos(pos_type position, std::ios_base::openmode which) {
    return seekoff(off_type(position), std::ios_base::beg, which);
}

}  // namespace bench
