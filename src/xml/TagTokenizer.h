#ifndef KPXML_XML_TAGTOKENIZER_H
#define KPXML_XML_TAGTOKENIZER_H

#include <array>
#include <string>
#include <vector>

namespace KpXml::detail {

// The characters that separate the parts of a tag.
class SeparatorSet {
public:
    explicit SeparatorSet(const std::string& separators);
    bool contains(char c) const { return members[static_cast<unsigned char>(c)]; }

private:
    std::array<bool, 256> members{};
};

struct TagAttribute {
    std::string name;
    std::string value;  // with "&quot;" already turned into a double quote
};

// What a tag's text holds. Reused from tag to tag, so its buffers keep their capacity.
struct ParsedTag {
    std::string name;
    std::vector<TagAttribute> attributes;  // in the order they were read; a later one of the same name wins
    std::size_t attributeCount = 0;        // entries of attributes in use
    bool open = false;                     // the tag does not end in '/': an element with content follows
};

enum class TagKind {
    Element,     // name and attributes read
    Blank,       // separators only: no name
    Unreadable,  // the attribute scan would restart forever: a word without a following separator
                 // or '=' at the end of a tag that does not end in '/'
};

// Cuts a non-empty tag text (without its '<' and '>') into name and double-quoted attributes.
// Only double quotes delimit values and no '=' is needed between name and value. A word at the end
// of a tag that does not end in '/' sends the scan back to the tag's beginning once; the second
// time the tag is Unreadable. Linear in the tag's length.
TagKind tokenizeTag(const std::string& tag, const SeparatorSet& separators, ParsedTag& parsed);

// The text with every "&quot;" replaced by one double quote. The search goes on after the inserted
// quote, so "&amp;quot;" stays as it is and "&quot;&quot;" gives two quotes.
std::string replaceQuotes(const std::string& text);

}  // namespace KpXml::detail

#endif
