#include "xml/TreeBuilder.h"

#include <new>
#include <string>
#include <unordered_map>
#include <utility>

#include "xml/NodeAttributes.h"
#include "xml/NodeLifetime.h"
#include "xml/ObjectPool.h"

namespace KpXml::detail {

namespace {

// True when two of the tag's attributes have the same name. For a few attributes only.
bool repeatsAName(const StartTag& tag) {
    for (std::size_t i = 1; i < tag.attributeCount; ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (tag.attributes[i].name == tag.attributes[j].name) return true;
        }
    }
    return false;
}

// How many attributes a node may hold for a tag's attributes to be stored one by one; a node with
// more gets an index of its attributes by name, so that a tag costs linear time.
constexpr std::size_t directLimit = 8;

// Sets the tag's attributes on a node that may already hold one of their names. Kept out of line,
// so that the common case (a new node, names that differ) has little to save and restore.
[[gnu::noinline]] void mergeAttributes(KpXmlData& node, const StartTag& tag) {
    const std::vector<KpXmlAttributeData*>& attributes = node.getAttributes();
    if (tag.attributeCount + attributes.size() <= directLimit) {
        for (std::size_t i = 0; i < tag.attributeCount; ++i) {
            node.setAttribute(std::string(tag.attributes[i].name), std::string(tag.attributes[i].value), true);
        }
        return;
    }
    std::unordered_map<std::string_view, KpXmlAttributeData*> byName;
    for (KpXmlAttributeData* attribute : attributes) {
        if (attribute != nullptr) byName.emplace(attribute->getName(), attribute);
    }
    for (std::size_t i = 0; i < tag.attributeCount; ++i) {
        const TagAttributeView& read = tag.attributes[i];
        const auto found = byName.find(read.name);
        const bool isNew = found == byName.end();
        KpXmlAttributeData& stored = storeAttribute(node, isNew ? nullptr : found->second, std::string(read.name),
                                                    std::string(read.value), true);
        if (isNew) byName.emplace(stored.getName(), &stored);
    }
}

}  // namespace

void TreeBuilder::applyAttributes(KpXmlData& node, const StartTag& tag) {
    std::vector<KpXmlAttributeData*>& attributes = node.getAttributes();
    if (!attributes.empty() || !(tag.namesDiffer || (tag.attributeCount <= directLimit && !repeatsAName(tag)))) {
        mergeAttributes(node, tag);
        return;
    }
    // A new node and names that differ: each attribute is added in the order read. (The count and the
    // views are read once: the list's changes could otherwise change them, as far as the compiler knows.)
    const std::size_t count = tag.attributeCount;
    const TagAttributeView* const read = tag.attributes.data();
    // Most tags with attributes have one: its list is made holding it, in one step. A longer list is
    // reserved first. (One place makes the attributes, so that making them is compiled into it.)
    if (count != 1) attributes.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::unique_ptr<KpXmlAttributeData> made = NodeAccess::newAttribute(read[i].name, read[i].value, true);
        if (count == 1) {
            attributes.assign(1, made.get());  // should this fail, made deletes the attribute
        } else {
            attributes.push_back(made.get());  // the room is reserved: this cannot fail
        }
        made.release();
    }
}

void TreeBuilder::freeSpareStacks(platform::ThreadExitCall* call) noexcept {
    delete static_cast<SpareStacks*>(call);
}

TreeBuilder::SpareStacks* TreeBuilder::spare() const noexcept {
    return spareStacksCall != nullptr ? static_cast<SpareStacks*>(*spareStacksCall) : nullptr;
}

TreeBuilder::TreeBuilder(KpXmlData& root) : spareStacksCall(threadExitCallBeforePools()) {
    // Most documents are parsed on a thread that has parsed one before: the stacks of that parse
    // are taken over rather than allocated again. They are kept only while small (freed when the
    // thread ends), so a thread holds no more than keptBytes for each. A parse started inside
    // a parse (by a stream buffer) finds them taken and makes its own.
    if (SpareStacks* const kept = spare(); kept != nullptr) {
        levels.swap(kept->levels);
        pendingChildren.swap(kept->pendingChildren);
        levels.clear();
    }
    if (levels.capacity() < initialDepth) levels.reserve(initialDepth);
    if (pendingChildren.capacity() < initialDepth) pendingChildren.reserve(initialDepth);
    levels.emplace_back(&root, 0, std::string_view(), true, false);
}

TreeBuilder::~TreeBuilder() {
    for (const Level& level : levels) {
        if (level.owned) delete level.node;
    }
    // Only after an exception are there any: they belong to no tree.
    for (KpXmlData* child : pendingChildren) delete child;
    pendingChildren.clear();
    if (spareStacksCall == nullptr || levels.capacity() * sizeof(Level) > keptBytes ||
        pendingChildren.capacity() * sizeof(KpXmlData*) > keptBytes) {
        return;
    }
    SpareStacks* kept = spare();
    if (kept == nullptr) {
        // The thread's first parse to keep its stacks.
        kept = new (std::nothrow) SpareStacks;
        if (kept == nullptr) return;
        *spareStacksCall = kept;
    }
    levels.swap(kept->levels);
    pendingChildren.swap(kept->pendingChildren);
}

void TreeBuilder::documentEnd(std::string_view text, std::uint64_t) {
    attachChildren(levels[0]);
    NodeAccess::setText(*levels[0].node, text);
}

void TreeBuilder::streamEnd(std::uint64_t) {
    // The elements still open keep no text.
    while (levels.size() > 1) {
        attachChildren(levels.back());
        leaveLevel();
    }
    attachChildren(levels[0]);
}

}  // namespace KpXml::detail
