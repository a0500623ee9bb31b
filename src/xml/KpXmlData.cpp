#include "kpxml/KpXmlData.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <new>
#include <utility>

#include "xml/NodeLifetime.h"
#include "xml/ObjectPool.h"
#include "xml/PoolSlots.h"
#include "xml/TextConvert.h"

namespace {

// While a flush deletes its children one by one, the first of the nodes of the current child's
// subtree still to be deleted, last to be deleted first. The destructor of each node that it
// deletes flushes that node, which then puts its own children at the front of this list instead
// of deleting them itself: the subtree goes in the same order as by recursion (each node before
// its children, children in list order), with a stack depth that does not grow with the tree's
// depth. The list is linked through the nodes' parent pointers, whose nodes are gone by then, so
// that it needs no memory of its own and a destructor never fails for want of it.
struct PendingDeletions {
    KpXmlData* first = nullptr;
};
// (Initial-exec, as the node pools' caches: one instruction to reach it, for every node deleted.)
[[gnu::tls_model("initial-exec")]] thread_local PendingDeletions* pendingDeletions = nullptr;

std::atomic<KpXml::detail::NodeDestroyedHook> nodeDestroyedHook{nullptr};

// The first child named childName whose attribute attrName passes test.
template <typename Test>
KpXmlData* findChildWithAttribute(const std::vector<KpXmlData*>& children, const std::string& childName,
                                  const std::string& attrName, Test test) {
    for (KpXmlData* child : children) {
        if (child == nullptr || child->getName() != childName) continue;
        const KpXmlAttributeData* attribute = child->findAttribute(attrName);
        if (attribute != nullptr && test(*attribute)) return child;
    }
    return nullptr;
}

// Takes the nodes out of list and deletes them and their subtrees. Kept out of line, so that a flush
// within the deletion, which only lists its node's children, has little to save and restore.
[[gnu::noinline]] void deleteSubtrees(std::vector<KpXmlData*>& list) {
    // Taking over the list needs no memory, so a destructor never fails for want of it.
    std::vector<KpXmlData*> children;
    children.swap(list);
    PendingDeletions pending;
    const KpXml::detail::BlockReleaseDeferral deferral;
    pendingDeletions = &pending;
    const std::size_t count = children.size();
    for (std::size_t i = 0; i < count; ++i) {
        // A large tree does not stay in the cache, and deleting it mostly waits for memory: ask for
        // the child a few deletions ahead, and for the first attribute of a nearer one, whose node
        // has arrived by then. (A fifth less time for a node with a million children.)
        if (i + 16 < count && children[i + 16] != nullptr) {
            KpXml::detail::prefetchObject(children[i + 16]);
        }
        const KpXmlData* near = i + 8 < count ? children[i + 8] : nullptr;
        if (near != nullptr && !near->getAttributes().empty() && near->getAttributes().front() != nullptr) {
            KpXml::detail::prefetchObject(near->getAttributes().front());
        }
        if (near != nullptr && !near->getChildren().empty()) __builtin_prefetch(near->getChildren().data());
        // The first children of a nearer one, whose list has arrived by then: its subtree goes
        // right after it, and only the child itself was asked for ahead.
        const KpXmlData* nearer = i + 4 < count ? children[i + 4] : nullptr;
        if (nearer != nullptr) {
            std::size_t asked = 0;
            for (const KpXmlData* grandchild : nearer->getChildren()) {
                if (grandchild != nullptr) KpXml::detail::prefetchObject(grandchild);
                if (++asked == 4) break;
            }
        }
        delete children[i];
        // The child's own subtree, which its destructor listed.
        while (KpXmlData* node = pending.first) {
            pending.first = node->getParent();
            delete node;
        }
    }
    pendingDeletions = nullptr;
}

// What flush() and the destructor do to a node's attributes: deletes them, leaving their pointers
// in the list (which flush() then empties, and the destructor destroys).
[[gnu::always_inline]] inline void deleteAttributes(const std::vector<KpXmlAttributeData*>& attributes) {
    for (KpXmlAttributeData* attribute : attributes) {
        delete attribute;
    }
}

// What flush() and the destructor do to a node's children: deletes them with their subtrees
// (emptying the list), or within the deletion of a subtree lists them for that deletion (leaving
// their pointers in the list, which flush() then empties, and the destructor destroys). Inline,
// rather than through the exported flush(), so that the work is compiled into the destructor.
[[gnu::always_inline]] inline void deleteChildren(std::vector<KpXmlData*>& children, std::uint32_t& childListChanges) {
    if (children.empty()) return;

    if (pendingDeletions != nullptr) {
        // Within the deletion of a subtree nothing is counted: the node goes too, and is reported
        // to the hook.
        // (The list's head is kept in a local while the children are linked: stores into the nodes
        // could otherwise change it, as far as the compiler knows, and it would be read again.)
        KpXmlData* first = pendingDeletions->first;
        for (auto child = children.rbegin(); child != children.rend(); ++child) {
            KpXmlData* const node = *child;
            if (node == nullptr) continue;
            node->setParent(first);
            first = node;
        }
        pendingDeletions->first = first;
        return;
    }
    ++childListChanges;
    deleteSubtrees(children);
}

}  // namespace

KpXmlData::KpXmlData() : KpXmlData(std::string(), nullptr) {}

KpXmlData::KpXmlData(const std::string& initialName) : KpXmlData(initialName, nullptr) {}

KpXmlData::KpXmlData(const std::string& initialName, KpXmlData* initialParent)
    : name(initialName), parent(initialParent), entityFlag(true), expand(false), childListChanges(0), pointer(nullptr) {}

KpXmlData::~KpXmlData() {
    if (const KpXml::detail::NodeDestroyedHook hook = nodeDestroyedHook.load(std::memory_order_relaxed)) hook(this);
    deleteAttributes(attributes);
    deleteChildren(children, childListChanges);
}

// Defined beside the destructor, so that deleting a node releases its slot without a call.
void* KpXmlData::operator new(std::size_t size) {
    return KpXml::detail::allocateSlot<KpXmlData>(size);
}

void KpXmlData::operator delete(void* object, std::size_t size) noexcept {
    KpXml::detail::releaseSlot<KpXmlData>(object, size);
}

void KpXmlData::setName(const std::string& newName) {
    name = newName;
    if (parent != nullptr) ++parent->childListChanges;
}

std::vector<KpXmlData*>& KpXmlData::getChildren() {
    ++childListChanges;  // the caller may change the list
    return children;
}

void KpXmlData::init() {
    pointer = nullptr;
    expand = false;
}

void KpXmlData::flush() {
    deleteAttributes(attributes);
    attributes.clear();
    deleteChildren(children, childListChanges);
    children.clear();
}

void KpXmlData::addChild(KpXmlData* child) {
    children.push_back(child);
    ++childListChanges;
    if (child != nullptr) child->parent = this;
}

KpXmlData* KpXmlData::createChild(const std::string& childName) {
    KpXmlData* child = new KpXmlData(childName);
    addChild(child);
    return child;
}

KpXmlData* KpXmlData::openChild(const std::string& childName, bool always) {
    if (!always) {
        if (KpXmlData* existing = findChild(childName)) return existing;
    }
    KpXmlData* child = new KpXmlData(childName, this);
    addChild(child);
    return child;
}

KpXmlData* KpXmlData::findChild(const std::string& childName) const {
    for (KpXmlData* child : children) {
        if (child != nullptr && child->name == childName) return child;
    }
    return nullptr;
}

const KpXmlData* KpXmlData::findTree(const std::string& searchName, bool deep) const {
    if (searchName.empty()) return nullptr;
    if (name == searchName) return this;
    if (const KpXmlData* child = findChild(searchName)) return child;
    if (!deep) return nullptr;

    // Each child's subtree in order: that child's direct children first, then its children's
    // subtrees. A stack of (node, next child to descend into) replaces recursion.
    std::vector<std::pair<const KpXmlData*, std::size_t>> stack{{this, 0}};
    while (!stack.empty()) {
        auto& [node, next] = stack.back();
        if (next == node->children.size()) {
            stack.pop_back();
            continue;
        }
        const KpXmlData* child = node->children[next++];
        if (child == nullptr) continue;
        if (const KpXmlData* grandchild = child->findChild(searchName)) return grandchild;
        stack.emplace_back(child, 0);
    }
    return nullptr;
}

KpXmlData* KpXmlData::findTree(const std::string& searchName, bool deep) {
    return const_cast<KpXmlData*>(std::as_const(*this).findTree(searchName, deep));
}

KpXmlData* KpXmlData::findChildToAttribute(const std::string& childName, const std::string& attrName,
                                           double value, double tolerance) const {
    return findChildWithAttribute(children, childName, attrName,
                                  [&](const KpXmlAttributeData& attribute) { return attribute.checkValue(value, tolerance); });
}

KpXmlData* KpXmlData::findChildToAttribute(const std::string& childName, const std::string& attrName,
                                           const std::string& value) const {
    return findChildWithAttribute(children, childName, attrName,
                                  [&](const KpXmlAttributeData& attribute) { return attribute.checkValue(value); });
}

KpXmlData* KpXmlData::findChildToAttribute(const std::string& childName, const std::string& attrName,
                                           int value) const {
    return findChildWithAttribute(children, childName, attrName,
                                  [&](const KpXmlAttributeData& attribute) { return attribute.checkValue(value); });
}

void KpXmlData::remove(const std::string& childName) {
    const auto found = std::find_if(children.begin(), children.end(),
                                    [&](const KpXmlData* child) { return child != nullptr && child->name == childName; });
    if (found == children.end()) return;
    KpXmlData* child = *found;
    children.erase(found);
    ++childListChanges;
    delete child;
}

KpXmlAttributeData* KpXmlData::findAttribute(const std::string& attrName) const {
    for (KpXmlAttributeData* attribute : attributes) {
        if (attribute != nullptr && attribute->getName() == attrName) return attribute;
    }
    return nullptr;
}

bool KpXmlData::removeAttribute(const std::string& attrName) {
    const auto found = std::find_if(attributes.begin(), attributes.end(), [&](const KpXmlAttributeData* attribute) {
        return attribute != nullptr && attribute->getName() == attrName;
    });
    if (found == attributes.end()) return false;
    KpXmlAttributeData* attribute = *found;
    attributes.erase(found);
    delete attribute;
    return true;
}

KpXml::detail::NodeDestroyedHook KpXml::detail::setNodeDestroyedHook(NodeDestroyedHook hook) {
    return nodeDestroyedHook.exchange(hook);
}

