#ifndef KPXML_CAPI_REGISTRIES_H
#define KPXML_CAPI_REGISTRIES_H

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kpxml/KpXmlTree.h"

namespace KpXml::detail::capi {

// Element handles: 1, 2, 3 ... in the order nodes are registered, never reused. A handle whose
// node was destroyed stays registered but answers as unknown, and never matches a node again.
class TagRegistry {
public:
    // The live node of handle, or null for an unknown or dead handle.
    KpXmlData* find(int handle) const;
    // Registers node under the next handle and returns it.
    int add(KpXmlData* node);
    // node's handle (the lowest registered one), registering node when it has none; -1 for null.
    int handleOf(KpXmlData* node);
    // Marks node's handle as unknown from now on.
    void forget(const KpXmlData* node);
    // True while some node has a live handle. Safe without the call lock: the node-destroyed
    // hook asks first, so that destroying nodes takes no lock while there is nothing to forget.
    bool tracksNodes() const { return liveCount.load(std::memory_order_relaxed) != 0; }

private:
    std::vector<KpXmlData*> nodes;  // the node of handle h at h - 1; null once deleted
    std::unordered_map<const KpXmlData*, int> handles;
    std::atomic<std::size_t> liveCount{0};  // handles.size()
};

// Documents by handle and by name. A new handle is the entry count plus one; after a deletion
// that handle may still be in use, and registering then takes its entry over (new name, empty
// document; the former tree stays alive, unowned).
class TreeRegistry {
public:
    // The document of handle, or null.
    KpXmlTree* find(int handle);
    // The handle of the first document named name, registering an empty one when there is none.
    int handleOf(const std::string& name);
    // Destroys the document and drops its entry; nothing for an unknown handle.
    void remove(int handle);

private:
    struct Entry {
        std::string name;
        KpXmlTree tree;
    };
    std::map<int, Entry> entries;
    std::map<std::string, std::set<int>> handlesByName;
};

// Finds a parent's first child of a name. Searching one parent again and again (as when its
// children are enumerated by name) takes constant time per search: the second search in a row of
// a large parent indexes its children by name. Before it answers, the index checks in constant time
// that the parent's child list is the one it indexed: the same change count of the parent (see
// NodeAccess), the same storage and length, and for a name it found, the same child at the same
// place with that name. (Not seen: an assignment through a reference to the list taken before the
// index was built that keeps the length and the child found in its place, while another child of
// that name moves before it; the answer is then still a child of that name.) Threads building their
// own trees share nothing with it.
class ChildNameIndex {
public:
    KpXmlData* findChild(const KpXmlData& parent, const std::string& name);
    // Drops the index when it refers to node, which is being destroyed.
    void forget(const KpXmlData* node);

private:
    // Whether the index was built from parent's child list as it is now.
    bool describes(const KpXmlData& parent) const;
    void clear();

    struct Entry {
        KpXmlData* child;
        std::size_t position;
    };
    const KpXmlData* lastParent = nullptr;
    std::uint32_t changes = 0;
    KpXmlData* const* storage = nullptr;
    std::size_t size = 0;
    bool built = false;
    // Names copied: a child renamed without its parent knowing (one added to the list directly,
    // whose parent pointer is not set) must not change a key in place.
    std::unordered_map<std::string, Entry> firstByName;
};

// All state of the C interface, alive from the first call to the end of the process.
struct ApiState {
    ApiState();
    ~ApiState();
    ApiState(const ApiState&) = delete;
    ApiState& operator=(const ApiState&) = delete;

    // Held through every C function, so that callers on several threads take turns. Recursive:
    // nodes destroyed inside a call report back through the node-destroyed hook, which takes it
    // too (it must, when another thread destroys nodes of its own trees), and the
    // invalid-parameter handler may call C functions.
    std::recursive_mutex callMutex;
    std::unique_ptr<KpXmlTree> globalDocument;
    TagRegistry tags;
    ChildNameIndex childNames;
    TreeRegistry trees;  // declared last: destroyed first, while the registries above still exist
};

ApiState& state();

// Taken first by every C function, for the whole call: see ApiState::callMutex.
class CallLock {
public:
    CallLock() : lock(state().callMutex) {}

private:
    std::lock_guard<std::recursive_mutex> lock;
};

// The live element of a tag handle, or null.
inline KpXmlData* element(int tag) {
    return state().tags.find(tag);
}

}  // namespace KpXml::detail::capi

#endif
