// Writing a document and reading it back gives the same tree, for random trees made of what the
// text format can carry, and for a tree far deeper than any call stack.

#include "kpxml/KpXmlTree.h"

#include <gtest/gtest.h>

#include "support/ParseComparison.h"

#include <cstddef>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using KpXml::test::dump;
using KpXml::test::written;

// Random trees of what survives writing and reading: names of letters and digits starting with a
// letter, distinct within an element; attribute values of bytes 0x20-0xFF and line feeds without
// "&quot;" (read back as a double quote); the same bytes less the double quote (read back as
// "&quot;") as text of childless elements (text before a child is lost), not starting or ending
// with a space (trimmed). The seed is fixed, so every run checks the same trees.
struct TreeGenerator {
    std::mt19937 random{0x4b70584du};

    std::size_t below(std::size_t n) { return static_cast<std::size_t>(random() % n); }

    std::string name() {
        static const char characters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
        std::string result(1, characters[below(52)]);
        for (std::size_t i = below(8); i > 0; --i) result += characters[below(sizeof characters - 1)];
        return result;
    }

    // The characters the writer escapes come up more often than evenly.
    std::string bytes(bool quotes) {
        static const char marked[] = "\n<>&\"'=;#";
        std::string text;
        for (std::size_t i = below(12); i > 0; --i) {
            const char c = below(4) == 0 ? marked[below(sizeof marked - 1)] : static_cast<char>(0x20 + below(0xE0));
            if (quotes || c != '"') text += c;
        }
        return quotes && text.find("&quot;") != std::string::npos ? bytes(quotes) : text;
    }

    KpXmlData* tree() {
        std::vector<KpXmlData*> nodes{new KpXmlData(name())};
        for (std::size_t count = 1 + below(25); nodes.size() < count;) {
            nodes.push_back(nodes[below(nodes.size())]->createChild(name()));
        }
        for (KpXmlData* node : nodes) {
            for (std::size_t i = below(5); i > 0; --i) {
                std::string attributeName = name();
                while (node->findAttribute(attributeName) != nullptr) attributeName += 'z';
                node->setAttribute(attributeName, bytes(true));
            }
            if (!node->getChildren().empty() || below(3) == 0) continue;
            std::string text = bytes(false);
            if (!text.empty() && text.front() == ' ') text.front() = 'x';
            if (!text.empty() && text.back() == ' ') text.back() = 'x';
            node->setData(text);
        }
        return nodes.front();
    }
};

TEST(RoundTripTest, RandomTreesReadBackAsWritten) {
    TreeGenerator generator;
    for (int round = 0; round < 200; ++round) {
        KpXmlTree original;
        original.setRoot(generator.tree());
        for (const char* indent : {"", "  ", "\t"}) {
            original.setIndent(indent);
            std::ostringstream out;
            original.putToStream(out, true);
            std::istringstream in(out.str());
            const KpXmlTree back(in);
            ASSERT_EQ(dump(back.getRoot()), dump(original.getRoot())) << "tree " << round << ":\n" << out.str();
        }
    }
}

TEST(RoundTripTest, MillionLevelsWrittenParsedAndDestroyed) {
    constexpr std::size_t depth = 1000000;
    const std::string bottom = "<e at=\"end\">bottom</e>\n";
    std::string expected;
    std::string closing;
    std::string text;
    {
        KpXmlTree tree("e");
        KpXmlData* node = tree.getRoot();
        for (std::size_t level = 1; level < depth; ++level) {
            node = node->createChild("e");
            expected += "<e>\n";
            closing += "</e>\n";
        }
        node->setData("bottom");
        node->setAttribute("at", std::string("end"));
        text = written(tree);
        // The depth of an inner node is counted through all its ancestors.
        tree.setIndent("\t");
        std::ostringstream inner;
        tree.putNode(inner, node);
        EXPECT_EQ(inner.str(), std::string(depth - 1, '\t') + bottom);
    }
    ASSERT_TRUE(text == expected + bottom + closing);  // (not EXPECT_EQ, which would print both texts)

    std::istringstream in(text);
    const KpXmlTree back(in);
    EXPECT_TRUE(written(back) == text);
    EXPECT_EQ(back.findRoot("missing", true), nullptr);  // a search through every level
}  // a recursive destructor would overflow a 1 MB (Windows) or 8 MB stack here

}  // namespace
