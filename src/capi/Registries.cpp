#include "capi/Registries.h"

#include "xml/NodeLifetime.h"

namespace kpxml::capi {

KpXmlData* TagRegistry::find(int handle) const {
    if (handle <= 0 || static_cast<std::size_t>(handle) > nodes.size()) return nullptr;
    return nodes[static_cast<std::size_t>(handle) - 1];
}

int TagRegistry::add(KpXmlData* node) {
    nodes.push_back(node);
    const int handle = static_cast<int>(nodes.size());
    handles.emplace(node, handle);  // an existing, lower handle of the same node stays its handle
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

namespace {

void forgetDestroyedNode(const KpXmlData* node) {
    state().tags.forget(node);
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

}  // namespace kpxml::capi
