#ifndef KPXML_XML_TREEBUILDER_H
#define KPXML_XML_TREEBUILDER_H

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <string_view>
#include <vector>

#include "kpxml/KpXmlData.h"
#include "platform/ThreadExit.h"
#include "xml/NodeLifetime.h"
#include "xml/ParseEvents.h"

namespace KpXml::detail {

// Builds the tree under a root from the scanner's events. It keeps one level per element being
// read (the document level first) on an explicit stack, so that any depth can be read, and holds
// the children read at each level until the level ends, so that each child list grows once.
class TreeBuilder final : public ParseEvents {
public:
    // root: an element with an empty name, which the first start tag names.
    explicit TreeBuilder(KpXmlData& root);
    // Deletes the elements still open (reading stopped by an exception): they belong to no tree.
    ~TreeBuilder() override;
    TreeBuilder(const TreeBuilder&) = delete;
    TreeBuilder& operator=(const TreeBuilder&) = delete;

    // A new child of the element being read, or the fresh root's own name and attributes; a tag
    // of separators only inside an element is ignored. True when the element's level opened.
    bool startTag(const StartTag& tag, std::uint64_t at) override;
    // The element being read gets its text and joins its parent's children.
    void endTag(std::string_view text, std::uint64_t at) override;
    // The root gets the document level's text and its children.
    void documentEnd(std::string_view text, std::uint64_t at) override;
    // The elements still open end without text and join their parents.
    void streamEnd(std::uint64_t at) override;

private:
    // One element whose content is being read (the document level first).
    struct Level {
        // Leaves every field unset: a new level is filled in field by field (see startTag).
        Level() {}
        Level(KpXmlData* element, std::size_t first, std::string_view name, bool plainName, bool ownedByLevel)
            : node(element), firstChild(first), endTagName(name), plainEndTagName(plainName), owned(ownedByLevel) {}

        KpXmlData* node;         // the element whose content this is
        std::size_t firstChild;  // where the children read at this level start in pendingChildren
        // What follows "/" in the end tag that ends the level: the element's name, which no longer
        // changes, or nothing when the element had no name when its level began.
        std::string_view endTagName;
        bool plainEndTagName;  // endTagName holds no '&', '<' or '>'
        bool owned;            // the builder made the element (not the root): the level owns it until it ends
    };

    // Ends the innermost level; its element joins the children of the level above.
    void leaveLevel();
    // Tells the scanner which end tag the innermost level waits for.
    void awaitInnermostEndTag();
    // Hands the children read at a level to its element, in the order read.
    void attachChildren(const Level& level);
    // Sets the tag's attributes on a node: an attribute of the same name is updated in place,
    // others are appended.
    static void applyAttributes(KpXmlData& node, const StartTag& tag);

    // The level stack and the pending children of the last parse on this thread, kept for the
    // next one (see the constructor): the call that frees them at the thread's end (see
    // threadExitCallBeforePools).
    struct SpareStacks : platform::ThreadExitCall {
        SpareStacks() noexcept : ThreadExitCall{&freeSpareStacks} {}
        std::vector<Level> levels;
        std::vector<KpXmlData*> pendingChildren;
    };
    // Deletes the spare stacks that call is part of, at the thread's end.
    static void freeSpareStacks(platform::ThreadExitCall* call) noexcept;
    // The thread's spare stacks; null when it has none.
    SpareStacks* spare() const noexcept;

    static constexpr std::size_t initialDepth = 16;  // room for the levels and children of most documents
    // The depth from which the elements of the open levels no longer stay in the cache together.
    static constexpr std::size_t deepLevels = 64;
    // The largest stacks kept for the next parse, in bytes each: enough for the levels and the
    // children of most documents, so that a parse neither grows nor frees a large buffer (either
    // makes glibc merge all its small free blocks, which its next small requests then pay for).
    static constexpr std::size_t keptBytes = 64 * 1024;

    // Where the thread keeps its spare stacks' call: null after the thread's end, when the parse
    // makes and frees its own stacks.
    platform::ThreadExitCall** const spareStacksCall;
    std::vector<Level> levels;  // the document level first, the innermost last
    // The children read and not yet attached, by level; the builder owns them until they are.
    std::vector<KpXmlData*> pendingChildren;
};

// The events come for every element: defined here, so that the scanner makes them without a call.

[[gnu::always_inline]] inline bool TreeBuilder::startTag(const StartTag& tag, std::uint64_t) {
    KpXmlData* parent = levels.back().node;
    // Only an element whose name is still empty (the fresh root) takes a tag's name and
    // attributes itself; others get a new child. A tag of separators only inside an element
    // is ignored.
    const bool intoParent = parent->getName().empty();
    if (tag.blank && !intoParent) return false;

    std::unique_ptr<KpXmlData> created;
    KpXmlData* element = parent;
    if (!intoParent) {
        created = NodeAccess::newElement(tag.name, parent);
        element = created.get();
    } else if (!tag.blank) {
        element->setName(std::string(tag.name));
    }
    if (tag.attributeCount != 0) applyAttributes(*element, tag);

    if (!tag.open) {
        if (created != nullptr) {
            // Appended as a named pointer: push_back of an lvalue is inlined here, that of an
            // rvalue goes through an out-of-line emplace_back (2 % of the children row).
            KpXmlData* const child = created.get();
            pendingChildren.push_back(child);
            created.release();  // now owned by the builder
        }
        return false;
    }
    const std::string& name = element->getName();
    // The element's name is the tag's, except for a root that a tag of separators left unnamed.
    const std::string_view endTagName = name.empty() ? std::string_view() : std::string_view(name);
    const bool plainEndTagName = name.empty() || tag.plainName;
    // Filled in field by field, and the scanner told from the same values: a level built aside
    // and copied in, or read back at once, is loaded in wider pieces than it was stored in, which
    // the processor cannot forward from its pending stores (a stall on every start tag).
    Level& level = levels.emplace_back();
    level.node = element;
    level.firstChild = pendingChildren.size();
    level.endTagName = endTagName;
    level.plainEndTagName = plainEndTagName;
    level.owned = created != nullptr;
    created.release();  // now owned by the level
    awaitEndTag(false, endTagName, plainEndTagName);
    return true;
}

[[gnu::always_inline]] inline void TreeBuilder::endTag(std::string_view text, std::uint64_t) {
    const Level& finished = levels.back();
    attachChildren(finished);
    // Storing an empty text changes nothing where the stored text is empty already.
    if (!(text.empty() && finished.node->getData().empty())) NodeAccess::setText(*finished.node, text);
    leaveLevel();
}

[[gnu::always_inline]] inline void TreeBuilder::leaveLevel() {
    if (levels.back().owned) pendingChildren.push_back(levels.back().node);
    levels.pop_back();
    // In a deep document an element is long out of the cache when its end tag comes: ask for the
    // one whose end tag may follow the next one, which the scanner and endTag read.
    if (levels.size() > deepLevels) {
        prefetchObject(levels[levels.size() - 2].node);
    }
    awaitInnermostEndTag();
}

[[gnu::always_inline]] inline void TreeBuilder::awaitInnermostEndTag() {
    const Level& level = levels.back();
    awaitEndTag(levels.size() == 1, level.endTagName, level.plainEndTagName);
}

inline void TreeBuilder::attachChildren(const Level& level) {
    // Each child names its parent from its creation on, so this step does not visit the
    // children again (a large child list is long out of the cache by now).
    if (pendingChildren.size() == level.firstChild) return;  // none: the child list stays as it is
    std::vector<KpXmlData*>& children = level.node->getChildren();
    const auto first = pendingChildren.begin() + static_cast<std::ptrdiff_t>(level.firstChild);
    if (children.empty()) {
        // An element read by the builder has no children yet: its list is made at its final size
        // in one step, without the moves of an insertion into a list.
        children.assign(first, pendingChildren.end());
    } else {
        children.insert(children.end(), first, pendingChildren.end());
    }
    pendingChildren.erase(first, pendingChildren.end());  // now owned by the element
}

}  // namespace KpXml::detail

#endif
