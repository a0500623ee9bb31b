#ifndef KPXML_XML_NODELIFETIME_H
#define KPXML_XML_NODELIFETIME_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "kpxml/KpXmlData.h"
#include "xml/PoolSlots.h"

namespace KpXml::detail {

// Called at the start of every node's destruction, so that others that refer to nodes by
// address (the C interface's tag handles) learn that a node is gone.
using NodeDestroyedHook = void (*)(const KpXmlData* node);

// Installs the hook (null: none) and returns the previous one.
NodeDestroyedHook setNodeDestroyedHook(NodeDestroyedHook hook);

// Asks the processor to start loading the cache lines of object (a node or an attribute), one
// for each 64 bytes from its start. Objects are 16-byte aligned (pool slots and heap blocks alike),
// and the size of each class ends at most 15 bytes into a 64-byte step: wherever such an object
// starts, its last byte lies in the line of its last step's start, so that no line is left out.
template <typename T>
inline void prefetchObject(const T* object) {
    static_assert((sizeof(T) - 1) % 64 < 16, "the steps from the start reach the line of the last byte");
    const auto* const first = reinterpret_cast<const char*>(object);
    for (std::size_t offset = 0; offset < sizeof(T); offset += 64) __builtin_prefetch(first + offset);
}

// Makes the string of the size bytes at first. One that the string object holds (up to 15 bytes) is
// copied with moves of a length known at compile time, where std::string(first, size) calls memcpy:
// most names and values of attributes, and many element texts, are that short. Always compiled into
// the caller: out of line (as the compiler chooses once two places make attributes), each string
// costs a call and the return of the string through memory.
struct StringOfBytes {
    [[gnu::always_inline]] std::string operator()(const char* first, std::size_t size) const {
        switch (size) {
            case 0: return std::string();
            case 1: return std::string(first, 1);
            case 2: return std::string(first, 2);
            case 3: return std::string(first, 3);
            case 4: return std::string(first, 4);
            case 5: return std::string(first, 5);
            case 6: return std::string(first, 6);
            case 7: return std::string(first, 7);
            case 8: return std::string(first, 8);
            case 9: return std::string(first, 9);
            case 10: return std::string(first, 10);
            case 11: return std::string(first, 11);
            case 12: return std::string(first, 12);
            case 13: return std::string(first, 13);
            case 14: return std::string(first, 14);
            case 15: return std::string(first, 15);
            default: return std::string(first, size);
        }
    }
};

// What the library's own code reads of a node beyond its public interface.
class NodeAccess {
public:
    // A number that changes whenever node's child list is changed through the node, handed out for
    // modification, or one of its children is renamed. A change made later through a child list
    // handed out earlier does not change it: an index of the children checks the list itself too.
    static std::uint32_t childListChanges(const KpXmlData& node) { return node.childListChanges; }
    // A new element named name (copied once, straight from the view) whose parent pointer is set. (Its
    // name is made by std::string's own constructor: made as an attribute's, the scanner that this is
    // compiled into takes 3 % more instructions for a deep document.)
    static std::unique_ptr<KpXmlData> newElement(std::string_view name, KpXmlData* parent) {
        return std::unique_ptr<KpXmlData>(newInSlot<KpXmlData>(parent, name.data(), name.size()));
    }
    // A new attribute whose name and value are copied once, straight from the views.
    static std::unique_ptr<KpXmlAttributeData> newAttribute(std::string_view name, std::string_view value, bool entity) {
        return std::unique_ptr<KpXmlAttributeData>(
            newInSlot<KpXmlAttributeData>(StringOfBytes(), name.data(), name.size(), value.data(), value.size(), entity));
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
