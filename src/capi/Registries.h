#ifndef KPXML_SRC_CAPI_REGISTRIES_H
#define KPXML_SRC_CAPI_REGISTRIES_H

#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "kpxml/KpXmlTree.h"

namespace kpxml::capi {

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

private:
    std::vector<KpXmlData*> nodes;  // the node of handle h at h - 1; null once deleted
    std::unordered_map<const KpXmlData*, int> handles;
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

// All state of the C interface, alive from the first call to the end of the process.
struct ApiState {
    ApiState();
    ~ApiState();
    ApiState(const ApiState&) = delete;
    ApiState& operator=(const ApiState&) = delete;

    std::unique_ptr<KpXmlTree> globalDocument;
    TagRegistry tags;
    TreeRegistry trees;  // declared last: destroyed first, while the registries above still exist
};

ApiState& state();

// The live element of a tag handle, or null.
inline KpXmlData* element(int tag) {
    return state().tags.find(tag);
}

}  // namespace kpxml::capi

#endif
