#ifndef KPXML_XML_PARSEEVENTS_H
#define KPXML_XML_PARSEEVENTS_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace KpXml::detail {

struct TagAttributeView {
    std::string_view name;
    std::string_view value;  // references resolved, "&quot;" already a double quote
};

// A start or empty-element tag as the scanner read it, by either path. The views point into the
// scanner's input or buffers and are valid only during the event that hands the tag over.
struct StartTag {
    std::string_view name;
    std::vector<TagAttributeView> attributes;  // in the order read; reused from tag to tag
    std::size_t attributeCount = 0;            // entries of attributes in use
    bool open = false;                         // no '/' before the '>': an element with content follows
    bool blank = false;                        // separators only: no name, no attributes
    bool namesDiffer = false;                  // known: no two attributes have the same name
    bool plainName = false;                    // the name holds no '&', '<' or '>'
};

// What the scanner finds in a document, in the order of the input. at is the position in the
// stream just after the last byte of what the event reports. The receiver also keeps up to date
// which end tag ends the element being read, which the scanner looks at for every tag.
class ParseEvents {
public:
    virtual ~ParseEvents() = default;

    // A start or empty-element tag; true when it opened an element (whose content follows), false
    // when it made a childless element or was ignored.
    virtual bool startTag(const StartTag& tag, std::uint64_t at) = 0;
    // The end tag of the element being read, with the text gathered since its last child with
    // content (spaces at the ends still there).
    virtual void endTag(std::string_view text, std::uint64_t at) = 0;
    // The tag that ends the document level, with that level's text.
    virtual void documentEnd(std::string_view text, std::uint64_t at) = 0;
    // The end of the stream, with elements still open.
    virtual void streamEnd(std::uint64_t at) = 0;

    // True while no element is open (the document level is being read).
    bool atDocumentLevel() const { return documentLevel; }
    // The name that follows "/" in the end tag of the element being read; empty at document level.
    std::string_view endTagName() const { return awaitedName; }
    // True when that name holds no '&', '<' or '>' (as the tag that opened the element said).
    bool endTagNameIsPlain() const { return awaitedNameIsPlain; }

protected:
    // Called by the receiver whenever the element being read changes: documentLevel true when
    // none is open, otherwise name is what follows "/" in the end tag of the element being read
    // (the view must stay valid while that element is being read), and plain whether it holds no
    // '&', '<' or '>'.
    void awaitEndTag(bool atDocument, std::string_view name, bool plain) {
        documentLevel = atDocument;
        awaitedName = name;
        awaitedNameIsPlain = plain;
    }

private:
    bool documentLevel = true;
    std::string_view awaitedName;
    bool awaitedNameIsPlain = true;
};

}  // namespace KpXml::detail

#endif
