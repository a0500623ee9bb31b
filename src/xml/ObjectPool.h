#ifndef KPXML_XML_OBJECTPOOL_H
#define KPXML_XML_OBJECTPOOL_H

#include <cstddef>

namespace KpXml::detail {

// Memory for the library's many small objects of one size (nodes, attributes): slots carved from
// large blocks, recycled through a per-thread free list, so that building and destroying a tree
// costs little beyond touching its objects. Blocks are kept for reuse for the life of the process.
// Objects larger than a slot (a caller's class derived from a node) go to the global heap.
class ObjectPool {
public:
    constexpr explicit ObjectPool(std::size_t objectSize) : slotSize(objectSize) {}

    // Bytes of the blocks the pool has taken from the heap.
    std::size_t bytesReserved() const;
    // Bytes of slots in use, counting as free only the shared store and the calling thread's own
    // free list (exact while other threads hold no free slots, as in a single-threaded program).
    std::size_t bytesInUse() const;

    ObjectPool(const ObjectPool&) = delete;
    ObjectPool& operator=(const ObjectPool&) = delete;

    const std::size_t slotSize;
};

// The pools of the two node classes.
ObjectPool& nodePool();
ObjectPool& attributePool();

// Memory for an object of size bytes of class T (KpXmlData or KpXmlAttributeData, or a class
// derived from one): a slot of T's pool, or the global heap when the object is larger than a slot.
// Throws std::bad_alloc when there is no memory.
template <typename T>
void* allocateSlot(std::size_t size);
// Gives back what allocateSlot<T>(size) returned; nothing for null.
template <typename T>
void releaseSlot(void* object, std::size_t size) noexcept;

}  // namespace KpXml::detail

#endif
