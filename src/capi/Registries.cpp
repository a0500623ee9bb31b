#include "capi/Registries.h"

#include "xml/NodeLifetime.h"

namespace KpXml::detail::capi {

KpXmlData* TagRegistry::find(int handle) const {
    if (handle <= 0 || static_cast<std::size_t>(handle) > nodes.size()) return nullptr;
    return nodes[static_cast<std::size_t>(handle) - 1];
}

int TagRegistry::add(KpXmlData* node) {
    nodes.push_back(node);
    const int handle = static_cast<int>(nodes.size());
    // An existing, lower handle of the same node stays its handle.
    if (handles.emplace(node, handle).second) liveCount.store(handles.size(), std::memory_order_relaxed);
    return handle;
}

int TagRegistry::handleOf(KpXmlData* node) {
    if (node == nullptr) return -1;
    const auto found = handles.find(node);
    return found != handles.end() ? found->second : add(node);
}

void TagRegistry::forget(const KpXmlData* node) {
    const auto found = handles.find(node);
    if (found == handles.end()) return;
    nodes[static_cast<std::size_t>(found->second) - 1] = nullptr;
    handles.erase(found);
    liveCount.store(handles.size(), std::memory_order_relaxed);
}

KpXmlTree* TreeRegistry::find(int handle) {
    const auto found = entries.find(handle);
    return found != entries.end() ? &found->second.tree : nullptr;
}

int TreeRegistry::handleOf(const std::string& name) {
    const auto named = handlesByName.find(name);
    if (named != handlesByName.end() && !named->second.empty()) return *named->second.begin();

    const int handle = static_cast<int>(entries.size()) + 1;
    const auto existing = entries.find(handle);
    if (existing == entries.end()) {
        entries.emplace(handle, Entry{name, KpXmlTree()});
    } else {
        // Taken over: the entry's former tree is left alive and unowned, so handles into it stay valid.
        handlesByName[existing->second.name].erase(handle);
        existing->second.name = name;
        existing->second.tree = KpXmlTree();
    }
    handlesByName[name].insert(handle);
    return handle;
}

void TreeRegistry::remove(int handle) {
    const auto found = entries.find(handle);
    if (found == entries.end()) return;
    handlesByName[found->second.name].erase(handle);
    entries.erase(found);
}

bool ChildNameIndex::describes(const KpXmlData& parent) const {
    const std::vector<KpXmlData*>& children = parent.getChildren();
    return &parent == lastParent && NodeAccess::childListChanges(parent) == changes && children.data() == storage &&
           children.size() == size;
}

KpXmlData* ChildNameIndex::findChild(const KpXmlData& parent, const std::string& name) {
    constexpr std::size_t indexedSize = 64;  // smaller child lists are simply scanned
    const std::vector<KpXmlData*>& children = parent.getChildren();
    if (!describes(parent)) {
        clear();
        lastParent = &parent;
        changes = NodeAccess::childListChanges(parent);
        storage = children.data();
        size = children.size();
        return parent.findChild(name);
    }
    if (children.size() < indexedSize) return parent.findChild(name);
    if (!built) {
        for (std::size_t position = 0; position < children.size(); ++position) {
            KpXmlData* const child = children[position];
            // The first of a name stays.
            if (child != nullptr) firstByName.emplace(child->getName(), Entry{child, position});
        }
        built = true;
    }
    const auto found = firstByName.find(name);
    if (found == firstByName.end()) return nullptr;
    const Entry entry = found->second;
    if (children[entry.position] == entry.child && entry.child->getName() == name) return entry.child;
    // The list was changed in place through a reference handed out before: index it again.
    clear();
    return findChild(parent, name);
}

void ChildNameIndex::forget(const KpXmlData* node) {
    if (node == lastParent) {
        clear();
        return;
    }
    if (!built) return;
    // The node's name is still intact: its destruction has only just begun.
    const auto found = firstByName.find(node->getName());
    if (found != firstByName.end() && found->second.child == node) clear();
}

void ChildNameIndex::clear() {
    lastParent = nullptr;
    storage = nullptr;
    size = 0;
    built = false;
    firstByName.clear();
}

namespace {

// Runs on whichever thread destroys a node: inside a C function (which holds the call lock
// already), or in C++ code on any thread. Nothing to do while no node has a handle: then no
// search has left an index behind either, as an indexed parent keeps its handle while it lives.
void forgetDestroyedNode(const KpXmlData* node) {
    ApiState& api = state();
    if (!api.tags.tracksNodes()) return;
    const CallLock lock;
    api.tags.forget(node);
    api.childNames.forget(node);
}

}  // namespace

ApiState::ApiState() {
    setNodeDestroyedHook(&forgetDestroyedNode);
}

ApiState::~ApiState() {
    setNodeDestroyedHook(nullptr);
}

ApiState& state() {
    static ApiState apiState;
    return apiState;
}

}  // namespace KpXml::detail::capi
