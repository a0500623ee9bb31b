#include "xml/ObjectPool.h"

#include <cstddef>
#include <mutex>
#include <new>
#include <type_traits>
#include <vector>

#include "kpxml/KpXmlAttributeData.h"
#include "kpxml/KpXmlData.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

namespace KpXml::detail {
namespace {

// Free slots travel between threads and the shared store in batches of this many.
constexpr std::size_t batchSize = 256;

struct FreeSlot {
    FreeSlot* next;
};

// Free slots are poisoned under AddressSanitizer, so a use after release is reported as it would
// be for the global heap.
void poison(void* slot, std::size_t size) noexcept {
#if defined(__SANITIZE_ADDRESS__)
    __asan_poison_memory_region(slot, size);
#else
    (void)slot;
    (void)size;
#endif
}

void unpoison(void* slot, std::size_t size) noexcept {
#if defined(__SANITIZE_ADDRESS__)
    __asan_unpoison_memory_region(slot, size);
#else
    (void)slot;
    (void)size;
#endif
}

FreeSlot* nextOf(FreeSlot* slot, std::size_t size) noexcept {
    unpoison(slot, sizeof(FreeSlot));
    FreeSlot* next = slot->next;
    poison(slot, size);
    return next;
}

void link(FreeSlot* slot, FreeSlot* next, std::size_t size) noexcept {
    unpoison(slot, sizeof(FreeSlot));
    slot->next = next;
    poison(slot, size);
}

// What all threads share: batches of free slots, and every block ever made (kept, so that slots
// stay reachable for leak checkers and reusable for the life of the process).
struct SharedStore {
    std::mutex mutex;
    std::vector<FreeSlot*> batches;
    std::vector<void*> blocks;
};

// A thread's own free slots: the list it takes from and gives to, and at most one full batch in
// reserve, so that slots move to and from the shared store a whole batch at a time without walking
// a list. Plain data: a thread that ends leaves at most two batches behind.
struct ThreadCache {
    FreeSlot* head;
    std::size_t count;  // slots in the list at head
    FreeSlot* spare;    // a list of batchSize slots, or null
};

// Slots are as large as the object rounded up to its own alignment (not to the largest one), so
// that no byte of a slot is wasted.
template <typename T>
constexpr std::size_t slotSizeOf() {
    return (sizeof(T) + alignof(T) - 1) / alignof(T) * alignof(T);
}

// The pools; index 0 holds nodes, 1 attributes.
constexpr std::size_t poolCount = 2;
ObjectPool pools[poolCount] = {ObjectPool(slotSizeOf<KpXmlData>()), ObjectPool(slotSizeOf<KpXmlAttributeData>())};
// Initial-exec: the caches sit at a fixed offset from the thread pointer, so reaching them takes one
// instruction instead of a call to look the library's thread storage up on every allocation and
// release. They are small enough for the room the loader keeps for this even when the library is
// loaded at run time.
[[gnu::tls_model("initial-exec")]] thread_local ThreadCache threadCaches[poolCount];

SharedStore& sharedStore(const ObjectPool& pool) {
    // Never destroyed: blocks must outlive every static object that may still hold a node.
    static SharedStore* const stores = new SharedStore[poolCount];
    return stores[&pool - pools];
}

ThreadCache& threadCache(const ObjectPool& pool) {
    return threadCaches[&pool - pools];
}

// A batch from the shared store, or a new block's worth of slots.
[[gnu::noinline]] FreeSlot* takeBatch(const ObjectPool& pool) {
    SharedStore& store = sharedStore(pool);
    {
        const std::lock_guard<std::mutex> lock(store.mutex);
        if (!store.batches.empty()) {
            FreeSlot* batch = store.batches.back();
            store.batches.pop_back();
            return batch;
        }
    }
    const std::size_t size = pool.slotSize;
    auto* block = static_cast<unsigned char*>(::operator new(size * batchSize));
    try {
        const std::lock_guard<std::mutex> lock(store.mutex);
        store.blocks.push_back(block);
    } catch (...) {
        // No room to record the block: give it back rather than lose it.
        ::operator delete(block);
        throw;
    }
    FreeSlot* head = nullptr;
    for (std::size_t i = batchSize; i-- > 0;) {
        auto* slot = reinterpret_cast<FreeSlot*>(block + i * size);
        link(slot, head, size);
        head = slot;
    }
    return head;
}

// Hands a full batch to the shared store.
[[gnu::noinline]] void giveBatch(const ObjectPool& pool, FreeSlot* batch) noexcept {
    SharedStore& store = sharedStore(pool);
    try {
        const std::lock_guard<std::mutex> lock(store.mutex);
        store.batches.push_back(batch);
    } catch (...) {
        // No room to record the batch: it stays unused, still inside its block.
    }
}

// The slot that allocateSlot hands out when the thread's own list is empty: the list is refilled from
// the spare batch or the shared store first. Kept out of line, so that the common case is a few
// instructions with nothing to save and restore.
[[gnu::noinline]] void* refillAndAllocate(const ObjectPool& pool, ThreadCache& cache) {
    if (cache.spare != nullptr) {
        cache.head = cache.spare;
        cache.spare = nullptr;
    } else {
        cache.head = takeBatch(pool);
    }
    cache.count = batchSize;
    FreeSlot* slot = cache.head;
    cache.head = nextOf(slot, pool.slotSize);
    --cache.count;
    unpoison(slot, pool.slotSize);
    return slot;
}

// Releases slot when the thread's own list is a full batch: the list becomes the spare, and a
// spare already held goes to the store. Out of line for the same reason as refillAndAllocate.
[[gnu::noinline]] void releaseIntoNewList(const ObjectPool& pool, ThreadCache& cache, FreeSlot* slot) noexcept {
    if (cache.spare != nullptr) giveBatch(pool, cache.spare);
    cache.spare = cache.head;
    link(slot, nullptr, pool.slotSize);
    cache.head = slot;
    cache.count = 1;
}

// Where T's slots come from: its pool and this thread's cache of it.
template <typename T>
constexpr std::size_t poolIndex() {
    static_assert(std::is_same_v<T, KpXmlData> || std::is_same_v<T, KpXmlAttributeData>);
    return std::is_same_v<T, KpXmlData> ? 0 : 1;
}

}  // namespace

template <typename T>
void* allocateSlot(std::size_t size) {
    constexpr std::size_t slotSize = slotSizeOf<T>();
    if (size > slotSize) return ::operator new(size);
    ThreadCache& cache = threadCaches[poolIndex<T>()];
    FreeSlot* slot = cache.head;
    if (slot == nullptr) return refillAndAllocate(pools[poolIndex<T>()], cache);
    cache.head = nextOf(slot, slotSize);
    --cache.count;
    unpoison(slot, slotSize);
    return slot;
}

template <typename T>
void releaseSlot(void* object, std::size_t size) noexcept {
    constexpr std::size_t slotSize = slotSizeOf<T>();
    if (object == nullptr) return;
    if (size > slotSize) {
        ::operator delete(object);
        return;
    }
    ThreadCache& cache = threadCaches[poolIndex<T>()];
    auto* slot = static_cast<FreeSlot*>(object);
    if (cache.count == batchSize) {
        releaseIntoNewList(pools[poolIndex<T>()], cache, slot);
        return;
    }
    link(slot, cache.head, slotSize);
    cache.head = slot;
    ++cache.count;
}

template void* allocateSlot<KpXmlData>(std::size_t size);
template void* allocateSlot<KpXmlAttributeData>(std::size_t size);
template void releaseSlot<KpXmlData>(void* object, std::size_t size) noexcept;
template void releaseSlot<KpXmlAttributeData>(void* object, std::size_t size) noexcept;

std::size_t ObjectPool::bytesReserved() const {
    SharedStore& store = sharedStore(*this);
    const std::lock_guard<std::mutex> lock(store.mutex);
    return store.blocks.size() * batchSize * slotSize;
}

std::size_t ObjectPool::bytesInUse() const {
    SharedStore& store = sharedStore(*this);
    const std::lock_guard<std::mutex> lock(store.mutex);
    const std::size_t slots = store.blocks.size() * batchSize;
    const ThreadCache& cache = threadCache(*this);
    const std::size_t freeSlots =
        store.batches.size() * batchSize + cache.count + (cache.spare != nullptr ? batchSize : 0);
    return (slots - freeSlots) * slotSize;
}

ObjectPool& nodePool() {
    return pools[0];
}

ObjectPool& attributePool() {
    return pools[1];
}

}  // namespace KpXml::detail
