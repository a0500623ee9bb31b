#ifndef KPXML_SRC_XML_NODELIFETIME_H
#define KPXML_SRC_XML_NODELIFETIME_H

class KpXmlData;

namespace kpxml {

// Called at the start of every node's destruction, so that others that refer to nodes by
// address (the C interface's tag handles) learn that a node is gone.
using NodeDestroyedHook = void (*)(const KpXmlData* node);

// Installs the hook (null: none) and returns the previous one.
NodeDestroyedHook setNodeDestroyedHook(NodeDestroyedHook hook);

}  // namespace kpxml

#endif
