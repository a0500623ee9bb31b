#include "xml/ObjectPool.h"

#include <cstddef>
#include <mutex>
#include <new>
#include <vector>

#include "kpxml/KpXmlAttributeData.h"
#include "kpxml/KpXmlData.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

namespace kpxml {
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

// A thread's own free slots. Plain data: a thread that ends leaves at most two batches behind.
struct ThreadCache {
    FreeSlot* head;
    std::size_t count;
};

constexpr std::size_t roundUp(std::size_t size) {
    constexpr std::size_t alignment = alignof(std::max_align_t);
    return (size + alignment - 1) / alignment * alignment;
}

// The pools; index 0 holds nodes, 1 attributes.
constexpr std::size_t poolCount = 2;
ObjectPool pools[poolCount] = {ObjectPool(roundUp(sizeof(KpXmlData))), ObjectPool(roundUp(sizeof(KpXmlAttributeData)))};
thread_local ThreadCache threadCaches[poolCount];

SharedStore& sharedStore(const ObjectPool& pool) {
    // Never destroyed: blocks must outlive every static object that may still hold a node.
    static SharedStore* const stores = new SharedStore[poolCount];
    return stores[&pool - pools];
}

ThreadCache& threadCache(const ObjectPool& pool) {
    return threadCaches[&pool - pools];
}

// A batch from the shared store, or a new block's worth of slots.
FreeSlot* takeBatch(const ObjectPool& pool) {
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
    {
        const std::lock_guard<std::mutex> lock(store.mutex);
        store.blocks.push_back(block);
    }
    FreeSlot* head = nullptr;
    for (std::size_t i = batchSize; i-- > 0;) {
        auto* slot = reinterpret_cast<FreeSlot*>(block + i * size);
        link(slot, head, size);
        head = slot;
    }
    return head;
}

// Hands the first batchSize slots of the thread's list to the shared store.
void giveBatch(const ObjectPool& pool, ThreadCache& cache) noexcept {
    FreeSlot* batch = cache.head;
    FreeSlot* last = batch;
    for (std::size_t i = 1; i < batchSize; ++i) last = nextOf(last, pool.slotSize);
    cache.head = nextOf(last, pool.slotSize);
    link(last, nullptr, pool.slotSize);
    cache.count -= batchSize;
    SharedStore& store = sharedStore(pool);
    try {
        const std::lock_guard<std::mutex> lock(store.mutex);
        store.batches.push_back(batch);
    } catch (...) {
        // No room to record the batch: it stays unused, still inside its block.
    }
}

}  // namespace

void* ObjectPool::allocate(std::size_t size) {
    if (size > slotSize) return ::operator new(size);
    ThreadCache& cache = threadCache(*this);
    if (cache.head == nullptr) {
        cache.head = takeBatch(*this);
        cache.count = batchSize;
    }
    FreeSlot* slot = cache.head;
    cache.head = nextOf(slot, slotSize);
    --cache.count;
    unpoison(slot, slotSize);
    return slot;
}

void ObjectPool::release(void* object, std::size_t size) noexcept {
    if (object == nullptr) return;
    if (size > slotSize) {
        ::operator delete(object);
        return;
    }
    ThreadCache& cache = threadCache(*this);
    auto* slot = static_cast<FreeSlot*>(object);
    link(slot, cache.head, slotSize);
    cache.head = slot;
    if (++cache.count >= 2 * batchSize) giveBatch(*this, cache);
}

std::size_t ObjectPool::bytesReserved() const {
    SharedStore& store = sharedStore(*this);
    const std::lock_guard<std::mutex> lock(store.mutex);
    return store.blocks.size() * batchSize * slotSize;
}

std::size_t ObjectPool::bytesInUse() const {
    SharedStore& store = sharedStore(*this);
    const std::lock_guard<std::mutex> lock(store.mutex);
    const std::size_t slots = store.blocks.size() * batchSize;
    const std::size_t freeSlots = store.batches.size() * batchSize + threadCache(*this).count;
    return (slots - freeSlots) * slotSize;
}

ObjectPool& nodePool() {
    return pools[0];
}

ObjectPool& attributePool() {
    return pools[1];
}

}  // namespace kpxml
