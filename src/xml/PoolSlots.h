#ifndef KPXML_XML_POOLSLOTS_H
#define KPXML_XML_POOLSLOTS_H

#include <cstddef>
#include <type_traits>

#include "kpxml/KpXmlAttributeData.h"
#include "kpxml/KpXmlData.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

namespace KpXml::detail {

// The fast paths of the node pools (see ObjectPool.h): a slot taken from or given to the calling
// thread's own cache. Inline, so that the nodes' and attributes' operator new and delete, and the
// destructors that call operator delete, compile them in; the rest of the pools is in ObjectPool.cpp.

// The head of each block of a pool (ObjectPool.cpp).
struct PoolBlock;

// A free slot: its first bytes link it to the next.
struct FreeSlot {
    FreeSlot* next;
};

// A thread's own free slots of one pool: the list it takes from and gives to, and at most one more
// full list in reserve, so that a thread that allocates and releases around the list's limit does
// not go to the store every time. A list holds at most a block's worth of slots (slotsPerBlock).
// The blocks that empty on the thread are kept for its next slots, up to keptBytesMax, and go
// back to the heap when it ends: a program that builds a tree again after destroying one neither
// frees nor allocates them again, and glibc does not merge the destroyed tree's small blocks (its
// lists and texts) when the blocks are freed, so that the new tree gets those back at the cost of
// a short free list's.
struct ThreadCache {
    FreeSlot* head;
    // Slots the list at head may still take; 0 in noCaches, so that releases there take the slow path.
    std::size_t room;
    // The slots of a block that no slot of was in use when the thread took it, from fresh to
    // freshEnd: handed out in address order before the list's, without linking them first
    // (which would touch the whole block before its first object) and without reading a link
    // from each. Both null when there are none, and in noCaches.
    unsigned char* fresh;
    unsigned char* freshEnd;
    FreeSlot* spare;   // a list of slotsPerBlock slots, or null
    PoolBlock* kept;   // emptied blocks, last emptied first, linked through their next
    std::size_t keptBytes;
};

// The pools; index 0 holds nodes, 1 attributes.
constexpr std::size_t poolCount = 2;

// Where T's slots come from: its pool and this thread's cache of it.
template <typename T>
constexpr std::size_t poolIndex() {
    static_assert(std::is_same_v<T, KpXmlData> || std::is_same_v<T, KpXmlAttributeData>);
    return std::is_same_v<T, KpXmlData> ? 0 : 1;
}

// Where each thread's caches pointer starts and ends: no slots and no room, so that both fast
// paths turn to the slow ones, which never write here.
inline ThreadCache noCaches[poolCount] = {};
// This thread's caches (see ownCaches in ObjectPool.cpp). Initial-exec: the pointer sits at a fixed
// offset from the thread pointer, so reaching the caches takes two loads instead of a call to look
// the library's thread storage up on every allocation and release. It is small enough for the room
// the loader keeps for this even when the library is loaded at run time. Its initial value is a
// constant, so that no use needs to check for an initialisation first.
[[gnu::tls_model("initial-exec")]] inline thread_local ThreadCache* threadCaches = noCaches;

// Free slots are poisoned under AddressSanitizer, so a use after release is reported as it would
// be for the global heap.
inline void poison(void* slot, std::size_t size) noexcept {
#if defined(__SANITIZE_ADDRESS__)
    __asan_poison_memory_region(slot, size);
#else
    (void)slot;
    (void)size;
#endif
}

inline void unpoison(void* slot, std::size_t size) noexcept {
#if defined(__SANITIZE_ADDRESS__)
    __asan_unpoison_memory_region(slot, size);
#else
    (void)slot;
    (void)size;
#endif
}

// The slot linked after slot (of a pool of size-byte slots); null at the list's end.
inline FreeSlot* nextOf(FreeSlot* slot, std::size_t size) noexcept {
    unpoison(slot, sizeof(FreeSlot));
    FreeSlot* next = slot->next;
    poison(slot, size);
    return next;
}

// Links slot (of a pool of size-byte slots) to next.
inline void link(FreeSlot* slot, FreeSlot* next, std::size_t size) noexcept {
    unpoison(slot, sizeof(FreeSlot));
    slot->next = next;
    poison(slot, size);
}

// A slot of pools[index] when the thread's own list is empty and it has no fresh slots; throws
// std::bad_alloc when there is no memory. Out of line, so that the fast path has nothing to save.
void* refillAndAllocate(std::size_t index);
// Releases slot of pools[index] when the thread's own list has no room. Out of line, as above.
void releaseWithoutRoom(std::size_t index, FreeSlot* slot) noexcept;

// Memory for an object of size bytes of class T (KpXmlData or KpXmlAttributeData, or a class
// derived from one): a slot of T's pool, or the global heap when the object is larger than a slot.
// Throws std::bad_alloc when there is no memory.
template <typename T>
void* allocateSlot(std::size_t size) {
    constexpr std::size_t slotSize = sizeof(T);
    if (size > slotSize) return ::operator new(size);
    ThreadCache& cache = threadCaches[poolIndex<T>()];
    // Fresh slots first: a tree built after one was destroyed gets them from the blocks the thread
    // kept, and the list, which is then empty, is not looked at for each of them.
    if (cache.fresh != cache.freshEnd) {
        unsigned char* const slot = cache.fresh;
        cache.fresh += slotSize;
        unpoison(slot, slotSize);
        return slot;
    }
    if (FreeSlot* const slot = cache.head) {
        cache.head = nextOf(slot, slotSize);
        ++cache.room;
        unpoison(slot, slotSize);
        return slot;
    }
    return refillAndAllocate(poolIndex<T>());
}

// Gives back what allocateSlot<T>(size) returned; nothing for null.
template <typename T>
void releaseSlot(void* object, std::size_t size) noexcept {
    constexpr std::size_t slotSize = sizeof(T);
    if (object == nullptr) return;
    if (size > slotSize) {
        ::operator delete(object);
        return;
    }
    ThreadCache& cache = threadCaches[poolIndex<T>()];
    auto* slot = static_cast<FreeSlot*>(object);
    if (cache.room == 0) {
        releaseWithoutRoom(poolIndex<T>(), slot);
        return;
    }
    link(slot, cache.head, slotSize);
    cache.head = slot;
    --cache.room;
}

}  // namespace KpXml::detail

#endif
