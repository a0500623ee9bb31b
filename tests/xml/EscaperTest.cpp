// The writer's escaper against a one-line reference, on texts that reach each of its paths: groups
// of four that pass or fail at each place, every length of the tail, the tail stored again over
// bytes already written, replacements that are empty or long, '=' allowed or not.

#include "xml/Escaper.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

// Every byte the texts below use that is not safe has an entry, so the code page plays no part.
const std::map<char, std::string> escapeMap{
    {'<', ""},                                                  // empty
    {'&', "&amp;&amp;&amp;&amp;&amp;&amp;&amp;&amp;&amp;&amp;"},  // long (50 bytes)
    {'"', "&quot;"},
    {'=', "&#61;"},
};

// The reference: each byte as itself when it is safe, else its entry.
std::string referenceEscape(const std::string& text, bool allowEquals) {
    std::string out;
    for (const char byte : text) out += (byte == '=' && allowEquals) || !escapeMap.count(byte) ? std::string(1, byte) : escapeMap.at(byte);
    return out;
}

// The escaper's output, written into exactly the room it asks for, followed by guard bytes that
// must stay untouched.
std::string escape(const KpXml::detail::Escaper& escaper, const std::string& text, bool allowEquals) {
    constexpr char guard = '\x7F';
    const std::size_t room = text.size() * escaper.maxExpansion();
    std::vector<char> buffer(room + 16, guard);
    const char* const end = escaper.write(buffer.data(), text.data(), text.size(), allowEquals);
    for (std::size_t i = room; i < buffer.size(); ++i) EXPECT_EQ(buffer[i], guard) << "past the room: " << text;
    return std::string(static_cast<const char*>(buffer.data()), end);
}

TEST(EscaperTest, EqualsAOneLineReferenceWithOneOrTwoSpecialBytesAnywhereInTextsOfEveryLength) {
    const KpXml::detail::Escaper escaper(escapeMap);
    ASSERT_EQ(escaper.maxExpansion(), 50u);
    const char specials[] = {'<', '&', '"', '='};
    std::vector<std::string> texts;
    for (std::size_t length = 0; length <= 13; ++length) {
        const std::string plain = std::string("abcdefgh 0123/:_-.,+").substr(0, length);
        texts.push_back(plain);
        for (std::size_t first = 0; first < length; ++first) {
            for (const char special : specials) {
                std::string one = plain;
                one[first] = special;
                texts.push_back(one);
                for (std::size_t second = first + 1; second < length; ++second) {
                    for (const char other : specials) {
                        std::string two = one;
                        two[second] = other;
                        texts.push_back(two);
                    }
                }
            }
        }
    }
    for (const std::string& text : texts) {
        for (const bool allowEquals : {false, true}) {
            EXPECT_EQ(escape(escaper, text, allowEquals), referenceEscape(text, allowEquals)) << text << allowEquals;
        }
    }
}

// The cases that reach the tail stored again (a failing group, then fewer than four bytes left,
// the last four all passing), with their output spelled out.
TEST(EscaperTest, TailStoredAgainOverBytesAlreadyWritten) {
    const KpXml::detail::Escaper escaper(escapeMap);
    const struct { const char* text; const char* expected; } cases[] = {
        {"<abcde", "abcde"},            // one byte of tail: "bcde" stored again from 'b'
        {"<abcdef", "abcdef"},          // two bytes
        {"<abcdefg", "abcdefg"},        // three bytes
        {"\"abcde", "&quot;abcde"},     // after a longer replacement
        {"ab<cdefgh", "abcdefgh"},      // the failing byte inside the group
        {"<<<<<a=bc", "a&#61;bc"},      // tail with '=' not allowed: stored byte by byte
    };
    for (const auto& c : cases) EXPECT_EQ(escape(escaper, c.text, false), c.expected) << c.text;
}

TEST(EscaperTest, EmptyMapStandsForTheMapEveryDocumentStartsWith) {
    std::optional<KpXml::detail::Escaper> own;
    const KpXml::detail::Escaper& ofEmpty = KpXml::detail::Escaper::forMap({}, own);
    EXPECT_EQ(&ofEmpty, &KpXml::detail::Escaper::forMap(KpXml::detail::Escaper::defaultMap(), own));
    EXPECT_FALSE(own.has_value());
    EXPECT_EQ(escape(ofEmpty, "<a b=\"c'\">&\n", true), "&lt;a b=&quot;c&apos;&quot;&gt;&amp;&#x000a;");
}

}  // namespace
