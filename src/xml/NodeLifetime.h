#ifndef KPXML_XML_NODELIFETIME_H
#define KPXML_XML_NODELIFETIME_H

#include <cstdint>
#include <memory>
#include <new>
#include <string_view>

#include "kpxml/KpXmlData.h"
#include "xml/PoolSlots.h"

namespace KpXml::detail {

// Called at the start of every node's destruction, so that others that refer to nodes by
// address (the C interface's tag handles) learn that a node is gone.
using NodeDestroyedHook = void (*)(const KpXmlData* node);

// Installs the hook (null: none) and returns the previous one.
NodeDestroyedHook setNodeDestroyedHook(NodeDestroyedHook hook);

// What the library's own code reads of a node beyond its public interface.
class NodeAccess {
public:
    // A number that changes whenever node's child list is changed through the node, handed out for
    // modification, or one of its children is renamed. A change made later through a child list
    // handed out earlier does not change it: an index of the children checks the list itself too.
    static std::uint32_t childListChanges(const KpXmlData& node) { return node.childListChanges; }
    // A new element named name (copied once, straight from the view) whose parent pointer is set.
    static std::unique_ptr<KpXmlData> newElement(std::string_view name, KpXmlData* parent) {
        return std::unique_ptr<KpXmlData>(newInSlot<KpXmlData>(parent, name.data(), name.size()));
    }
    // A new attribute whose name and value are copied once, straight from the views.
    static std::unique_ptr<KpXmlAttributeData> newAttribute(std::string_view name, std::string_view value, bool entity) {
        return std::unique_ptr<KpXmlAttributeData>(
            newInSlot<KpXmlAttributeData>(name.data(), name.size(), value.data(), value.size(), entity));
    }
    // As new T(arguments...), where T's operator new is allocateSlot<T>: the pool's fast path is
    // compiled into the caller. Throws what allocation or the constructor throws.
    template <typename T, typename... Arguments>
    static T* newInSlot(Arguments... arguments) {
        void* const memory = allocateSlot<T>(sizeof(T));
        try {
            return ::new (memory) T(arguments...);
        } catch (...) {
            releaseSlot<T>(memory, sizeof(T));
            throw;
        }
    }

    // Stores text as node's text, as setData(std::string(text)) does, copying its bytes once.
    static void setText(KpXmlData& node, std::string_view text);
};

}  // namespace KpXml::detail

#endif
