#include "xml/TagTokenizer.h"

#include <algorithm>
#include <cstring>


namespace KpXml::detail {

SeparatorSet::SeparatorSet(const std::string& separators) {
    for (const char c : separators) members[static_cast<unsigned char>(c)] = true;
}

namespace {

constexpr std::size_t none = std::string::npos;

// Finds the first double quote at or after a position, in logarithmic time once the quotes of
// the tag have been listed, so that no tag costs more than linear time to scan.
class QuoteFinder {
public:
    explicit QuoteFinder(const std::string& tagText) : text(tagText) {}

    std::size_t from(std::size_t position) {
        // A short tag is searched directly: no list to build, and each search is short anyway.
        if (text.size() <= shortTag) return text.find('"', position);
        if (!listed) {
            for (std::size_t i = text.find('"'); i != none; i = text.find('"', i + 1)) positions.push_back(i);
            listed = true;
        }
        const auto found = std::lower_bound(positions.begin(), positions.end(), position);
        return found == positions.end() ? none : *found;
    }

private:
    static constexpr std::size_t shortTag = 256;
    const std::string& text;
    std::vector<std::size_t> positions;
    bool listed = false;
};

}  // namespace

TagKind tokenizeTag(const std::string& tag, const SeparatorSet& separators, ParsedTag& parsed) {
    parsed.name.clear();
    parsed.attributeCount = 0;
    parsed.open = tag.empty() || tag.back() != '/';

    const std::size_t length = tag.size();
    auto isSeparator = [&](std::size_t i) { return separators.contains(tag[i]); };
    auto firstNonSeparator = [&](std::size_t i) {
        while (i < length && isSeparator(i)) ++i;
        return i < length ? i : none;
    };

    const std::size_t start = firstNonSeparator(0);
    if (start == none) return TagKind::Blank;
    std::size_t end = start;
    while (end < length && !isSeparator(end) && tag[end] != '/') ++end;
    if (end == length) {
        parsed.name = tag;  // the whole text, leading separators included
        return TagKind::Element;
    }
    parsed.name.assign(tag, start, end - start);

    QuoteFinder quotes(tag);
    bool restarted = false;
    std::size_t p = end;
    while (p < length) {
        const std::size_t a = firstNonSeparator(p);
        if (a == none) break;
        std::size_t e = a;
        while (e < length && !isSeparator(e) && tag[e] != '=') ++e;
        if (e == length) {
            if (!parsed.open) break;
            if (restarted) return TagKind::Unreadable;
            restarted = true;
            p = 0;
            continue;
        }
        const std::size_t opening = quotes.from(e);
        const std::size_t closing = opening == none ? none : quotes.from(opening + 1);
        if (closing == none) {
            if (!parsed.open) break;
            p = e + 1;
            continue;
        }
        if (parsed.attributeCount == parsed.attributes.size()) parsed.attributes.emplace_back();
        TagAttribute& attribute = parsed.attributes[parsed.attributeCount++];
        attribute.name.assign(tag, a, e - a);
        const std::size_t valueLength = closing - opening - 1;
        if (std::memchr(tag.data() + opening + 1, '&', valueLength) != nullptr) {
            attribute.value = replaceQuotes(tag.substr(opening + 1, valueLength));
        } else {
            attribute.value.assign(tag, opening + 1, valueLength);  // nothing to replace
        }
        p = closing + 1;
    }
    return TagKind::Element;
}

std::string replaceQuotes(const std::string& text) {
    static const std::string quotEntity = "&quot;";
    std::string out;
    std::size_t from = 0;
    std::size_t match = text.find(quotEntity);
    if (match == std::string::npos) return text;
    out.reserve(text.size());
    // Scanning the source instead of the copy gives the same result: the search resumes right
    // after each replaced entity, and an inserted quote cannot start a new one.
    while (match != std::string::npos) {
        out.append(text, from, match - from);
        out += '"';
        from = match + quotEntity.size();
        match = text.find(quotEntity, from);
    }
    out.append(text, from, std::string::npos);
    return out;
}

}  // namespace KpXml::detail
