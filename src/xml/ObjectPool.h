#ifndef KPXML_XML_OBJECTPOOL_H
#define KPXML_XML_OBJECTPOOL_H

#include <cstddef>

#include "platform/ThreadExit.h"

namespace KpXml::detail {

// Memory for the library's many small objects of one size (nodes, attributes): slots carved from
// blocks of blockBytes, recycled through a per-thread free list, so that building and destroying a
// tree costs little beyond touching its objects. Each block counts the slots it has handed out; a
// block whose slots have all returned is kept by the thread where that happened, for its next
// slots, while the thread keeps less than keptBytesMax of such blocks, and goes back to the heap
// otherwise. A thread keeps at most two blocks' worth of free slots besides, and hands them and its
// kept blocks back when it ends. Objects larger than a slot (a caller's class derived from a node)
// go to the global heap.
class ObjectPool {
public:
    constexpr ObjectPool(std::size_t objectSize, std::size_t slotsInBlock)
        : slotSize(objectSize), slotsPerBlock(slotsInBlock) {}

    // Bytes of the blocks the pool holds now.
    std::size_t bytesReserved() const;
    // Bytes of slots in use, counting as free the blocks' own free slots and the calling thread's
    // free lists (exact while other threads hold no free slots, as in a single-threaded program).
    std::size_t bytesInUse() const;

    ObjectPool(const ObjectPool&) = delete;
    ObjectPool& operator=(const ObjectPool&) = delete;

    const std::size_t slotSize;
    const std::size_t slotsPerBlock;
};

// The size and alignment of every block: a slot's block is found from its address.
constexpr std::size_t blockBytes = 32 * 1024;
// The bytes of emptied blocks a thread keeps, of all pools together: those of the tree of a
// document of about a megabyte, and 3 % of the memory of the tree of a 50 MB document.
constexpr std::size_t keptBytesMax = 8 * 1024 * 1024;

// While one lives on a thread, the thread keeps every block that empties there; when the last one
// ends, it still keeps them if they fit in keptBytesMax, and gives them all back to the heap
// together otherwise (the last emptied first). A tree's destruction holds one: glibc then merges
// the blocks with each other and the heap's top instead of sorting each into its bins between the
// frees of the tree's small blocks (which would set off its consolidation of them again and again).
class BlockReleaseDeferral {
public:
    BlockReleaseDeferral() noexcept;
    ~BlockReleaseDeferral();
    BlockReleaseDeferral(const BlockReleaseDeferral&) = delete;
    BlockReleaseDeferral& operator=(const BlockReleaseDeferral&) = delete;
};

// The place, kept with the calling thread's caches of the pools, for one other part's call at the
// thread's end (the tree builder's, which frees its spare stacks): null until that part sets it;
// the call it points to is made just before the caches are handed back, and must stay valid until
// then. Null when the thread has no caches: after its end, or when they cannot be made.
platform::ThreadExitCall** threadExitCallBeforePools() noexcept;

// The pools of the two node classes.
ObjectPool& nodePool();
ObjectPool& attributePool();

// KpXmlData's and KpXmlAttributeData's operator new and delete take their memory from these
// pools, through the fast paths in PoolSlots.h, so that a slot costs no call of its own.

}  // namespace KpXml::detail

#endif
