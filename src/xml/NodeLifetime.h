#ifndef KPXML_XML_NODELIFETIME_H
#define KPXML_XML_NODELIFETIME_H

#include <cstdint>

class KpXmlData;

namespace KpXml::detail {

// Called at the start of every node's destruction, so that others that refer to nodes by
// address (the C interface's tag handles) learn that a node is gone.
using NodeDestroyedHook = void (*)(const KpXmlData* node);

// Installs the hook (null: none) and returns the previous one.
NodeDestroyedHook setNodeDestroyedHook(NodeDestroyedHook hook);

// A number that changes whenever any node's child list or name may have changed (a child added or
// removed, a rename, the child list handed out for modification). While it stays the same, an
// index of children by name stays valid.
std::uint64_t childListVersion();

}  // namespace KpXml::detail

#endif
