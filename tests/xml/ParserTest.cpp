// Tests of the stream parser: input text -> the tree that buildOfStream leaves, and the stream's
// state after a parse.

#include "kpxml/KpXmlTree.h"

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "support/ParseComparison.h"
#include "xml/PlainTagReader.h"

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

namespace {

using KpXml::test::dump;
using KpXml::test::shown;

std::string parsed(const std::string& text) {
    std::istringstream in(text);
    const KpXmlTree tree(in);
    return dump(tree.getRoot());
}

TEST(ParserTest, InputToTree) {
    const struct {
        const char* what;
        std::string input;
        const char* expected;
    } cases[] = {
        // Elements, text and the document level.
        {"'?' tags skipped", "<?xml version=\"1.0\"?><a x=\"1\">x<?pi?>y</a><?end?>", "a[x=\"1\"]:\"xy\""},
        {"text before a child with content lost", "<a><b/>x<c>y</c>z</a>", "a:\"z\"(b c:\"y\")"},
        {"empty children join the text, an end tag clears it", "<a>x<b></b>y<c/>z</a>", "a:\"yz\"(b c)"},
        {"later top-level elements appended to the root", "<a>t</a><b>u</b><a/>", "a:\"t\"(b:\"u\" a)"},
        {"end of stream inside elements: no text", "<a><b>1</b><c>2", "a(b:\"1\" c)"},
        {"document-level text without <> not kept", "<r/>t<c/>u", "r(c)"},
        {"<> ends the document, its text replaces the root's", "<a>t</a>xy<>rest<b/>", "a:\"xy\""},
        {"... also when empty", "<a>t</a><>", "a"},
        {"text around a self-closing root", "x<a/>y<>", "a:\"xy\""},
        {"an empty stream", "", "''"},
        // Blanks.
        {"tab, CR, LF dropped from text, spaces trimmed", "<a> 1\t2\r3\n4 5 </a>", "a:\"1234 5\""},
        {"a line feed is part of a tag name", "<a\n x=\"1\"/>", "a\\x0a[x=\"1\"]"},
        // Entities.
        {"after & all up to # a g l q dropped", "<a>1&b2;3&amp;</a>", "a:\"1&\""},
        {"< inside an entity name opens no tag", "<a>&l<b/>;</a>", "a:\"\\x00\""},
        {"named entities", "<a>&lt;&gt;&amp;&apos;</a>", "a:\"<>&'\""},
        {"&quot; stays in text", "<a>&quot;</a>", "a:\"&quot;\""},
        {"&#10; dropped from text", "<a>1&#10;2</a>", "a:\"12\""},
        {"&#x000a; kept in text", "<a>1&#x000a;2</a>", "a:\"1\\x0a2\""},
        {"decimal references, a zero byte for others", "<a>&#65;&#0;&#x41;</a>", "a:\"A\\x00\\x00\""},
        {"a negative reference is a byte", "<a>&#-4;</a>", "a:\"\\xfc\""},
        {">= 256 through the code page", "<a>x&#8364;&#8364;y</a>", "a:\"x\\x80\\x80y\""},
        {"best fit", "<a>&#256;</a>", "a:\"A\""},
        {"not representable", "<a>&#20013;</a>", "a:\"?\""},
        {"low byte 10 dropped from text", "<a>1&#266;2</a>", "a:\"12\""},
        {"above 65535 the low 16 bits count", "<a>&#65601;</a>", "a:\"A\""},
        {"entities in attribute values", "<a v=\"&lt;&gt;&amp;&apos;\"/>", "a[v=\"<>&'\"]"},
        {"... in several values of one tag", "<a x=\"&lt;1\" y=\"&gt;2\" z=\"&amp;3\"/>", "a[x=\"<1\" y=\">2\" z=\"&3\"]"},
        {"&quot; is a quote in attribute values", "<a v=\"&quot;x&quot;\"/>", "a[v=\"\\\"x\\\"\"]"},
        {"controls kept in tags", "<a v=\"1\r2\t3&#10;&#x000a;&#266;\"/>", "a[v=\"1\\x0d2\\x093\\x0a\\x0aC\"]"},
        // Attributes.
        {"apostrophes delimit nothing", "<a x='1' y=\"2\"/>", "a[x=\"2\"]"},
        {"no = nor blank needed", "<a x \"1\"y=\"2\"/>", "a[x=\"1\" y=\"2\"]"},
        {"repeated name: last value, first place", "<a z=\"1\" y=\"a'b = c\" z=\"3\" x=\"\"/>",
         "a[z=\"3\" y=\"a'b = c\" x=\"\"]"},
        {"a value-less word takes the next value", "<a b c=\"1\" d/>", "a[b=\"1\"]"},
        {"> in a value ends the tag", "<r><a x=\">\"/>t</r>", "r:\"\\\"/t\""},
        // Ignored and unusual tags.
        {"value-less attribute last: ignored", "<r><a b>x</r>", "r:\"x\""},
        {"... also at document level", "<a b>x</a>", "''"},
        {"one restart of the attribute scan", "<a=\"b x=\"1\" \"d\">t</a=\"b>",
         "a=\\\"b[x=\"1\" a=\"b x=\" 1\\\"=\"d\"]:\"t\""},
        {"blank-only tag inside an element ignored", "<a>x< >y<\t></a>", "a:\"xy\""},
        {"blank-only tag at document level opens the root", "< >x</>", "'':\"x\""},
        {"empty tag inside an element ignored", "<a>x<>y</a>", "a:\"xy\""},
        {"unmatched end tag ignored", "<a>x</b>y</a>", "a:\"xy\""},
        {"comment with blanks ignored", "<a>x<!-- c -->y</a>", "a:\"xy\""},
        {"comment without blanks is an element", "<a>x<!--a-->y</a>z<b/>", "a(!--a--(b))"},
        {"an unnamed element takes the next tag's name", "<a>x</a >y</a><c/>z</>w</a>", "a:\"w\"(c:\"yz\")"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(parsed(c.input), c.expected) << c.what << "\n input: " << shown(c.input);
        EXPECT_EQ(KpXml::test::pathDifference(c.input, 1), "") << c.what << "\n input: " << shown(c.input);
    }
}

// Tags of the plain form are read directly from the input; every variation that the direct
// reading declines must reach the tokenizer unchanged, also when a tag straddles two reads.
TEST(ParserTest, DirectReadingMatchesStepByStep) {
    std::string document = "<?xml version=\"1.0\"?>\n<r v=\"1\">\n";
    for (int i = 0; i < 300; ++i) {
        const std::string n = std::to_string(i);
        document += "  <e id=\"" + n + "\" name=\"a &lt;" + n + "&gt; &amp;quot;\" w=\"1.5\">\n    <X>" + n +
                    "</X>\n    <t>x &amp; y&#10;</t>\n    <n/>\n  </e>\n";
    }
    document += "</r>\n<>rest";
    const std::string unusual =
        "<r><k&gt;>t</k>>u</k&gt;>"
        "<a x=\"1\" y=\"2\"/><b x=\"1\"y=\"2\">t</b><c x=\"1\" x=\"2\"/><d/ ><e x= \"1\"/><f x=\"1>\"/>"
        "<g =\"x\"/><h x=\"&#34;\"/><i x=\"&#8364;\"/><j x=\"&amp;quot;&#;\"/><k x=\"&lt;&#60;&#x41;&b;\"/>"
        "<l&amp;>t</l&amp;></l&amp;><m x=\"1\" / ><n\tx=\"1\"\t/><o x=\"&q\"\"/><p x=\"<\"/><q/x=\"1\"/>"
        "<s x=\"1\" y/><u x><v&#9;/><w x=\"1\"\n/><y\"=\"1\"/><z><?a&b;?>x</z >y</z>< a/><\n/></r>";
    for (const std::string& input : {document, unusual}) {
        for (const std::size_t pieceSize : {std::size_t{1}, std::size_t{3}, std::size_t{4095}, input.size()}) {
            EXPECT_EQ(KpXml::test::pathDifference(input, pieceSize), "")
                << "pieces of " << pieceSize << "\n input: " << shown(input.substr(0, 200));
        }
    }
}

// The scanner reads the bytes a stream holds in blocks of 4096; a tag that the end of a full block
// cuts off is read again from its '<' with the next block. Wherever the cut falls in each kind of
// markup (one cut into a reference, one with a dropped '<', one too long to carry, the end of the
// document with bytes after it), the events, their positions and the stream's state are those of
// the step-by-step reading.
TEST(ParserTest, MarkupCutByTheEndOfABlock) {
    const std::string head = "<?xml version=\"1.0\"?>\n<r>";
    const std::string markups[] = {
        "<e id=\"7\" name=\"a &lt;b&gt;\" w=\"1.5\">t</e>", "<?pi x?>", "<n/>", "<a <b x=\"1\"/>",
        "<l x=\"" + std::string(300, 'v') + "\"/>", "</r>\nrest<x/>"};
    constexpr std::size_t blockSize = 4096;
    for (const std::string& markup : markups) {
        for (std::size_t inFirstBlock = 1; inFirstBlock <= std::min<std::size_t>(markup.size(), 40); ++inFirstBlock) {
            const std::string document = head + std::string(blockSize - head.size() - inFirstBlock, 'f') + markup +
                                         "<n/></r>\nafter";
            EXPECT_EQ(KpXml::test::pathDifference(document, document.size()), "")
                << shown(markup) << " with " << inFirstBlock << " bytes in the first block";
        }
    }
}

// A table whose texts are longer than their references: the decoded values of one tag outgrow
// the bytes they were read from and the room first made for them, and each keeps its own bytes
// (also under the address sanitizer).
TEST(ParserTest, DirectReadingOfValuesLongerThanTheirReferences) {
    const std::string longText(100, 'w');
    const KpXml::detail::PlainTagReader reader(" \t", {{"ax", longText}, {"lt", "<"}});
    const struct {
        std::string input;
        std::vector<std::string> values;
    } cases[] = {
        // The first room made (256 bytes) full when a one-character text comes.
        {"a x=\"&ax;&ax;" + std::string(56, 'v') + "&lt;\"/>", {longText + longText + std::string(56, 'v') + "<"}},
        {"a x=\"&ax;\"/>", {longText}},
        {"a x=\"&ax;&ax;&ax;\" y=\"1&ax;2\" z=\"&lt;\">", {longText + longText + longText, "1" + longText + "2", "<"}},
        {"a x=\"plain\" y=\"&ax;&#65;&ax;\"/>", {"plain", longText + "A" + longText}},
        // Values that move on to larger room in the middle, twice in one tag, after earlier values.
        {"a x=\"&ax;&ax;\" y=\"1&ax;&ax;&ax;&ax;&ax;&ax;2\" z=\"&lt;" + std::string(900, 'v') + "&ax;\">",
         {longText + longText, "1" + std::string(600, 'w') + "2", "<" + std::string(900, 'v') + longText}},
    };
    KpXml::detail::StartTag tag;
    KpXml::detail::PlainTagReader::makeRoomForAttributes(tag);
    KpXml::detail::DirectTagBuffers buffers;  // reused from tag to tag, as by the scanner
    for (const auto& c : cases) {
        // A tag is read only when a byte follows it; after the bytes in hand, the scanner's mark.
        const std::string bytes = c.input + "\n" + KpXml::detail::endOfBytes;
        const char* end = bytes.data() + bytes.size() - 1;
        EXPECT_EQ(reader.readStartTag(bytes.data(), tag, buffers), end - 1) << c.input;
        std::vector<std::string> values;
        for (std::size_t i = 0; i < tag.attributeCount; ++i) values.emplace_back(tag.attributes[i].value);
        EXPECT_EQ(values, c.values) << c.input;
    }
}

// References read directly are looked up among the entries that start with the same byte: each
// entry is found by its whole name up to the first ';', and a name that only starts like one, or
// is the start of one, is not found. An entry whose name holds a ';' is never the name up to the
// first ';'. The empty name is found after "&#" in a value.
TEST(ParserTest, DirectReadingFindsReferencesByTheirWholeName) {
    const KpXml::detail::PlainTagReader reader(
        " \t", {{"", "E"}, {"a", "1"}, {"ab", "2"}, {"abc", "3"}, {"ac", "4"}, {"g", "5"}, {"\xe9", "6"}, {"a;b", "7"}, {"q;", "8"}});
    const struct {
        const char* reference;  // after the '&'
        const char* text;       // null: not read directly
        std::size_t used;       // bytes of the reference read
    } texts[] = {{"a;", "1", 2},         {"ab;", "2", 3},      {"abc;", "3", 4},     {"ac;", "4", 3},
                 {"g;", "5", 2},         {"a;b;", "1", 2},     {"abcd;", nullptr, 0}, {"ad;", nullptr, 0},
                 {"aa;", nullptr, 0},    {"gt;", nullptr, 0},  {"l;", nullptr, 0},    {"ab", nullptr, 0},
                 {"q;;", nullptr, 0}};
    for (const auto& c : texts) {
        // The bytes in hand end after the reference, with the scanner's mark.
        const std::string bytes = std::string(c.reference) + KpXml::detail::endOfBytes;
        const auto read = reader.readTextReference(bytes.data());
        if (c.text == nullptr) {
            EXPECT_EQ(read.after, nullptr) << c.reference;
            continue;
        }
        EXPECT_EQ(read.after, bytes.data() + c.used) << c.reference;
        ASSERT_NE(read.replacement, nullptr) << c.reference;
        EXPECT_EQ(*read.replacement, c.text) << c.reference;
    }
    const std::string bytes =
        std::string("t x=\"&#;&a;&#ab;&abc;&ac;&g;&#\xe9;&#65;&a;b;\"/>\n") + KpXml::detail::endOfBytes;
    KpXml::detail::StartTag tag;
    KpXml::detail::PlainTagReader::makeRoomForAttributes(tag);
    KpXml::detail::DirectTagBuffers buffers;
    ASSERT_NE(reader.readStartTag(bytes.data(), tag, buffers), nullptr);
    ASSERT_EQ(tag.attributeCount, 1u);
    EXPECT_EQ(tag.attributes[0].value, "E123456A1b;");
}

// A separator that is also markup: every start tag is left to the tokenizer, which alone knows
// what such a separator does; other separators leave the plain tag to the direct reading.
TEST(ParserTest, SeparatorsThatAreMarkupLeaveStartTagsToTheTokenizer) {
    const std::string bytes = std::string("a x=\"1\">\n") + KpXml::detail::endOfBytes;
    const char* end = bytes.data() + bytes.size() - 1;
    const struct {
        const char* separators;
        bool read;
    } cases[] = {{" >", false}, {" /", false}, {" =", false}, {" \"", false}, {" &", false}, {" <", false},
                 {" \t", true},  {"\n ", true}, {" ;", true}};
    for (const auto& c : cases) {
        const KpXml::detail::PlainTagReader reader(c.separators, KpXml::detail::defaultEntityMap());
        KpXml::detail::StartTag tag;
        KpXml::detail::PlainTagReader::makeRoomForAttributes(tag);
        KpXml::detail::DirectTagBuffers buffers;
        EXPECT_EQ(reader.readStartTag(bytes.data(), tag, buffers), c.read ? end - 1 : nullptr)
            << "separators " << shown(c.separators);
    }
}

// The end tag of the element being read is matched as a whole: for names of every length up to
// and past the longest compared without a call, a name that differs in any one byte is not it.
TEST(ParserTest, EndTagReadDirectlyOnlyForItsWholeName) {
    using KpXml::detail::PlainTagReader;
    for (std::size_t length = 1; length <= 20; ++length) {
        std::string name;
        for (std::size_t i = 0; i < length; ++i) name += static_cast<char>('a' + i);
        const std::string endTag = "/" + name + ">";
        const char* end = endTag.data() + endTag.size();
        EXPECT_EQ(PlainTagReader::readEndTag(endTag.data(), end, name, true), end) << name;
        EXPECT_EQ(PlainTagReader::readEndTag(endTag.data(), end - 1, name, true), nullptr) << name << ", cut";
        for (std::size_t i = 0; i < length; ++i) {
            std::string other = endTag;
            other[1 + i] = 'Z';
            EXPECT_EQ(PlainTagReader::readEndTag(other.data(), other.data() + other.size(), name, true), nullptr) << other;
        }
    }
}

TEST(ParserStreamTest, StateAfterTheParseAndAFailedStream) {
    std::istringstream ended("<a>x</a>");
    KpXmlTree tree(ended);
    EXPECT_EQ(ended.rdstate(), std::ios_base::eofbit | std::ios_base::failbit);

    std::istringstream stopped("<a/><>rest");
    tree.buildOfStream(stopped);
    EXPECT_EQ(dump(tree.getRoot()), "a");
    EXPECT_EQ(stopped.rdstate(), std::ios_base::goodbit);
    EXPECT_EQ(stopped.tellg(), 6);

    // Wherever the stream buffer's pieces end, and also when it says more is available than it
    // holds in hand, the stream is left after the "<>" that ended the document.
    for (const std::size_t pieceSize : {1, 3, 4, 7, 100}) {
        for (const bool countsAll : {false, true}) {
            KpXml::test::PiecewiseBuffer buffer("<a/>x<>rest", pieceSize, countsAll);
            std::istream piecewise(&buffer);
            tree.buildOfStream(piecewise);
            EXPECT_EQ(dump(tree.getRoot()) + " at " + std::to_string(piecewise.tellg()), "a:\"x\" at 7")
                << "pieces of " << pieceSize << (countsAll ? ", all counted" : "");
        }
    }

    // Reading starts at position 0, wherever the stream is.
    std::istringstream moved("<a><b/>t</a>");
    moved.seekg(5);
    tree.buildOfStream(moved);
    EXPECT_EQ(dump(tree.getRoot()), "a:\"t\"(b)");

    // A failed stream gives an empty root.
    tree.open("a", false);
    std::istringstream failed("<a>t</a>");
    failed.setstate(std::ios_base::failbit);
    tree.buildOfStream(failed);
    EXPECT_EQ(dump(tree.getRoot()), "''");
    EXPECT_EQ(tree.getCurrentNode(), nullptr);
}

}  // namespace
