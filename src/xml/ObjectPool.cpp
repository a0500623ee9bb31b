#include "xml/ObjectPool.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>

#include "kpxml/KpXmlAttributeData.h"
#include "kpxml/KpXmlData.h"
#include "platform/ThreadExit.h"
#include "xml/PoolSlots.h"

namespace KpXml::detail {

// The head of every block, aligned to blockBytes: what the shared store knows of the block. Read
// and written only with the store's mutex held.
struct PoolBlock {
    FreeSlot* freeSlots;    // the block's slots that the store holds
    std::size_t handedOut;  // slots out of the block: in use, or in some thread's free list
    PoolBlock* previous;    // neighbours in the store's list of blocks with free slots
    PoolBlock* next;
};

namespace {

// The slots start one cache line into the block.
constexpr std::size_t headerBytes = 64;
static_assert(sizeof(PoolBlock) <= headerBytes && headerBytes % alignof(std::max_align_t) == 0);
static_assert((blockBytes & (blockBytes - 1)) == 0, "a slot's block is its address with the low bits cleared");

PoolBlock* blockOf(const FreeSlot* slot) noexcept {
    return reinterpret_cast<PoolBlock*>(reinterpret_cast<std::uintptr_t>(slot) & ~std::uintptr_t{blockBytes - 1});
}

// What all threads share: the blocks with free slots, in a list, and counts for the statistics.
struct SharedStore {
    std::mutex mutex;
    PoolBlock* withFreeSlots = nullptr;
    std::size_t blocks = 0;     // blocks the pool holds, counting those threads keep empty
    std::size_t handedOut = 0;  // the sum of their handedOut
};

template <typename T>
constexpr std::size_t slotsPerBlockOf() {
    return (blockBytes - headerBytes) / sizeof(T);
}

// The pools, in the order of poolIndex. A slot is the object's own size: sizeof is a multiple of
// the alignment, so consecutive slots are aligned.
ObjectPool pools[poolCount] = {ObjectPool(sizeof(KpXmlData), slotsPerBlockOf<KpXmlData>()),
                               ObjectPool(sizeof(KpXmlAttributeData), slotsPerBlockOf<KpXmlAttributeData>())};
// This thread's caches, made on its first use of a pool and deleted when it ends, which hands
// their lists back: they are the call made at the thread's end (endThread), the only one the
// library arranges. On the heap, and found through the system's own record of the thread (see
// platform/ThreadExit.h) whenever threadCaches holds its initial value: where thread storage is
// emulated (mingw-w64), a thread's thread_local variables may be freed at its end before the
// caches are handed back, and come back with their initial values when used again.
struct OwnCaches : platform::ThreadExitCall {
    ThreadCache caches[poolCount] = {};
    platform::ThreadExitCall* callBefore = nullptr;  // see threadExitCallBeforePools
};
// The thread's caches' record, set with threadCaches: null while that is noCaches.
[[gnu::tls_model("initial-exec")]] thread_local OwnCaches* ownRecord = nullptr;

// The number of BlockReleaseDeferral objects alive on this thread.
[[gnu::tls_model("initial-exec")]] thread_local unsigned deferrals = 0;

// The bytes of the blocks that the thread's caches keep, of all pools.
std::size_t keptOnThread() noexcept {
    std::size_t bytes = 0;
    for (std::size_t index = 0; index < poolCount; ++index) bytes += threadCaches[index].keptBytes;
    return bytes;
}

SharedStore& sharedStore(const ObjectPool& pool) {
    // Never destroyed: blocks must outlive every static object that may still hold a node.
    static SharedStore* const stores = new SharedStore[poolCount];
    return stores[&pool - pools];
}

void unlinkBlock(SharedStore& store, PoolBlock* block) noexcept {
    if (block->previous != nullptr) {
        block->previous->next = block->next;
    } else {
        store.withFreeSlots = block->next;
    }
    if (block->next != nullptr) block->next->previous = block->previous;
    block->previous = nullptr;
    block->next = nullptr;
}

void releaseBlock(SharedStore& store, PoolBlock* block) noexcept {
    --store.blocks;
    unpoison(block, blockBytes);
    ::operator delete(block, std::align_val_t{blockBytes});
}

// Gives the slots of list back to their blocks. A block whose slots are all back goes to keeper's
// kept blocks (while the thread keeps less than keptBytesMax, or any number while it defers their
// release), else back to the heap (keeper null: always). Nothing for an empty list.
void returnList(const ObjectPool& pool, FreeSlot* list, ThreadCache* keeper) noexcept {
    if (list == nullptr) return;
    SharedStore& store = sharedStore(pool);
    const std::lock_guard<std::mutex> lock(store.mutex);
    while (list != nullptr) {
        // Slots come back mostly in long runs of one block (a tree is released in the order it was
        // made): each run goes back at once, already linked, and its block's counts change once.
        // The list's end ends a run too, without a test of its own: no block is at address 0.
        FreeSlot* const first = list;
        PoolBlock* const block = blockOf(first);
        FreeSlot* last = first;
        std::size_t count = 1;
        for (list = nextOf(first, pool.slotSize); blockOf(list) == block; list = nextOf(list, pool.slotSize)) {
            last = list;
            ++count;
        }
        store.handedOut -= count;
        block->handedOut -= count;
        if (block->handedOut == 0) {
            if (block->freeSlots != nullptr) unlinkBlock(store, block);
            if (keeper != nullptr && (deferrals != 0 || keptOnThread() < keptBytesMax)) {
                block->freeSlots = nullptr;
                block->next = keeper->kept;
                keeper->kept = block;
                keeper->keptBytes += blockBytes;
            } else {
                releaseBlock(store, block);
            }
            continue;
        }
        if (block->freeSlots == nullptr) {
            // The block has free slots again: first in the list, so that it fills up soonest.
            block->next = store.withFreeSlots;
            if (block->next != nullptr) block->next->previous = block;
            store.withFreeSlots = block;
        }
        link(last, block->freeSlots, pool.slotSize);
        block->freeSlots = first;
    }
}

// Gives back to the heap the blocks that cache keeps. Nothing when it keeps none.
void releaseKept(const ObjectPool& pool, ThreadCache& cache) noexcept {
    if (cache.kept == nullptr) return;
    SharedStore& store = sharedStore(pool);
    const std::lock_guard<std::mutex> lock(store.mutex);
    while (PoolBlock* const block = cache.kept) {
        cache.kept = block->next;
        releaseBlock(store, block);
    }
    cache.keptBytes = 0;
}

// The first slot of the block at memory.
unsigned char* firstSlot(unsigned char* memory) noexcept {
    return memory + headerBytes;
}

// The end of the slots of the block at memory.
unsigned char* slotsEnd(const ObjectPool& pool, unsigned char* memory) noexcept {
    return firstSlot(memory) + pool.slotsPerBlock * pool.slotSize;
}

// Free slots that the store hands a thread: a list, or a whole block none of whose slots is in use.
struct TakenSlots {
    FreeSlot* list;         // null when whole is set
    std::size_t count;      // the slots of list
    unsigned char* whole;   // the block, or null
};

// All free slots of one of own's kept blocks (whole), of a block of the store that has some (a
// list), or of a new block (whole). own is null when the thread has no caches.
TakenSlots takeSlots(const ObjectPool& pool, ThreadCache* own) {
    SharedStore& store = sharedStore(pool);
    {
        const std::lock_guard<std::mutex> lock(store.mutex);
        if (PoolBlock* block = own != nullptr ? own->kept : nullptr) {
            own->kept = block->next;
            own->keptBytes -= blockBytes;
            block->next = nullptr;
            block->handedOut = pool.slotsPerBlock;
            store.handedOut += pool.slotsPerBlock;
            return {nullptr, 0, reinterpret_cast<unsigned char*>(block)};
        }
        if (PoolBlock* block = store.withFreeSlots) {
            unlinkBlock(store, block);
            const std::size_t count = pool.slotsPerBlock - block->handedOut;
            store.handedOut += count;
            block->handedOut = pool.slotsPerBlock;
            FreeSlot* const list = block->freeSlots;
            block->freeSlots = nullptr;
            return {list, count, nullptr};
        }
    }
    auto* const memory = static_cast<unsigned char*>(::operator new(blockBytes, std::align_val_t{blockBytes}));
    new (memory) PoolBlock{nullptr, pool.slotsPerBlock, nullptr, nullptr};
    poison(firstSlot(memory), pool.slotsPerBlock * pool.slotSize);
    const std::lock_guard<std::mutex> lock(store.mutex);
    ++store.blocks;
    store.handedOut += pool.slotsPerBlock;
    return {nullptr, 0, memory};
}

// Links the slots from first to end into a list in address order; returns its head (null when
// there are none).
FreeSlot* linkRange(const ObjectPool& pool, unsigned char* first, unsigned char* end) noexcept {
    FreeSlot* head = nullptr;
    while (end != first) {
        end -= pool.slotSize;
        auto* const slot = reinterpret_cast<FreeSlot*>(end);
        link(slot, head, pool.slotSize);
        head = slot;
    }
    return head;
}

// Makes the call set to come before, then hands the lists of the caches that call is part of
// back, gives their kept blocks back to the heap and deletes them; from then on the thread's slots
// go straight to the store and back.
void endThread(platform::ThreadExitCall* call) {
    auto* const ended = static_cast<OwnCaches*>(call);
    if (platform::ThreadExitCall* const before = ended->callBefore; before != nullptr) before->function(before);
    for (std::size_t index = 0; index < poolCount; ++index) {
        ThreadCache& cache = ended->caches[index];
        returnList(pools[index], cache.head, nullptr);
        returnList(pools[index], cache.spare, nullptr);
        returnList(pools[index], linkRange(pools[index], cache.fresh, cache.freshEnd), nullptr);
        releaseKept(pools[index], cache);
    }
    delete ended;
    // Where the thread's storage is still there, its pointers lead to the deleted caches. Where it
    // was freed, this makes it again, for the threads library to free (see callAtThreadExit).
    threadCaches = noCaches;
    ownRecord = nullptr;
}

// The thread's own caches when its caches pointer holds its initial value: before the thread's
// first use of the pools, after its end, or after its thread storage was freed and made again
// while the caches live; the system's record tells which. Made when there are none yet; null
// after the thread's end, or when there is no memory for them or no way to hand them back at the
// thread's end. Out of line, so that finding the caches through ownRecord saves no registers.
[[gnu::noinline]] OwnCaches* ownCachesFoundOrMade() noexcept {
    OwnCaches* own = static_cast<OwnCaches*>(platform::arrangedThreadExitCall());
    if (own == nullptr) {
        if (platform::threadExitCallMade()) return nullptr;
        own = new (std::nothrow) OwnCaches;
        if (own == nullptr) return nullptr;
        own->function = &endThread;
        if (!platform::callAtThreadExit(own)) {
            delete own;
            return nullptr;
        }
    }
    threadCaches = own->caches;
    ownRecord = own;
    return own;
}

// The thread's own caches (see ownCachesFoundOrMade).
OwnCaches* ownCaches() noexcept {
    if (OwnCaches* const own = ownRecord; own != nullptr) return own;
    return ownCachesFoundOrMade();
}

// Whether the thread's caches pointer held its initial value and now leads to its caches: made
// now, or found again, maybe with slots and room, after the thread's storage was made again. The
// fast path is then tried again (once: the pointer is set).
bool cachesPointerSetNow() noexcept {
    return threadCaches == noCaches && ownCachesFoundOrMade() != nullptr;
}

// allocateSlot and releaseSlot for the class of pools[index].
void* allocateAgain(std::size_t index) {
    if (index == poolIndex<KpXmlData>()) return allocateSlot<KpXmlData>(sizeof(KpXmlData));
    return allocateSlot<KpXmlAttributeData>(sizeof(KpXmlAttributeData));
}

void releaseAgain(std::size_t index, FreeSlot* slot) noexcept {
    if (index == poolIndex<KpXmlData>()) return releaseSlot<KpXmlData>(slot, sizeof(KpXmlData));
    releaseSlot<KpXmlAttributeData>(slot, sizeof(KpXmlAttributeData));
}

}  // namespace

platform::ThreadExitCall** threadExitCallBeforePools() noexcept {
    OwnCaches* const own = ownCaches();
    return own != nullptr ? &own->callBefore : nullptr;
}

// The slot that allocateSlot hands out when the thread's own list of pools[index] is empty and it
// has no fresh slots: the list is refilled from the spare list, or the store's slots taken. Also
// on the thread's first use of its caches pointer.
void* refillAndAllocate(std::size_t index) {
    if (cachesPointerSetNow()) return allocateAgain(index);
    const ObjectPool& pool = pools[index];
    ThreadCache* const caches = threadCaches;
    std::size_t count = pool.slotsPerBlock;
    FreeSlot* list = nullptr;
    if (caches != noCaches && caches[index].spare != nullptr) {
        list = caches[index].spare;
        caches[index].spare = nullptr;
    } else {
        const TakenSlots taken = takeSlots(pool, caches != noCaches ? &caches[index] : nullptr);
        list = taken.list;
        count = taken.count;
        if (taken.whole != nullptr) {
            unsigned char* const first = firstSlot(taken.whole);
            if (caches == noCaches) {
                // Past the thread's end the slots are handed out as a list, which goes back at once.
                list = linkRange(pool, first, slotsEnd(pool, taken.whole));
                count = pool.slotsPerBlock;
            } else {
                // The list stays empty, with room for a block's worth of releases.
                caches[index].fresh = first + pool.slotSize;
                caches[index].freshEnd = slotsEnd(pool, taken.whole);
                caches[index].room = pool.slotsPerBlock;
                unpoison(first, pool.slotSize);
                return first;
            }
        }
    }
    FreeSlot* const slot = list;
    list = nextOf(slot, pool.slotSize);
    --count;
    if (caches == noCaches) {
        // Past the thread's end nothing would hand a list back: the rest goes back at once.
        returnList(pool, list, nullptr);
    } else {
        caches[index].head = list;
        caches[index].room = pool.slotsPerBlock - count;
    }
    unpoison(slot, pool.slotSize);
    return slot;
}

// Releases slot when the thread's list of pools[index] has no room: on the thread's first use of
// the pool (or of its caches pointer), or when the list is full (it becomes the spare, or goes
// back to the store when there is one already), or after the thread's end (the slot goes straight
// back).
void releaseWithoutRoom(std::size_t index, FreeSlot* slot) noexcept {
    if (cachesPointerSetNow()) return releaseAgain(index, slot);
    const ObjectPool& pool = pools[index];
    link(slot, nullptr, pool.slotSize);
    ThreadCache* const caches = threadCaches;
    if (caches == noCaches) {
        returnList(pool, slot, nullptr);
        return;
    }
    ThreadCache& cache = caches[index];
    if (cache.head != nullptr && cache.spare == nullptr) {
        cache.spare = cache.head;
    } else if (cache.head != nullptr) {
        // The full list goes back rather than the spare: its slots were released last, so that
        // walking it finds them still in the processor's cache.
        returnList(pool, cache.head, &cache);
    }
    cache.head = slot;
    cache.room = pool.slotsPerBlock - 1;
}

std::size_t ObjectPool::bytesReserved() const {
    SharedStore& store = sharedStore(*this);
    const std::lock_guard<std::mutex> lock(store.mutex);
    return store.blocks * blockBytes;
}

std::size_t ObjectPool::bytesInUse() const {
    SharedStore& store = sharedStore(*this);
    const std::lock_guard<std::mutex> lock(store.mutex);
    const ThreadCache& cache = threadCaches[this - pools];
    std::size_t ownFree = cache.spare != nullptr ? slotsPerBlock : 0;
    if (cache.head != nullptr) ownFree += slotsPerBlock - cache.room;
    ownFree += static_cast<std::size_t>(cache.freshEnd - cache.fresh) / slotSize;
    return (store.handedOut - ownFree) * slotSize;
}

BlockReleaseDeferral::BlockReleaseDeferral() noexcept {
    ++deferrals;
}

BlockReleaseDeferral::~BlockReleaseDeferral() {
    if (--deferrals != 0 || threadCaches == noCaches || keptOnThread() <= keptBytesMax) return;
    // A tree larger than the bound is not kept at all: glibc merges the small blocks of the
    // destroyed tree when the first of its blocks goes back anyway.
    for (std::size_t index = 0; index < poolCount; ++index) releaseKept(pools[index], threadCaches[index]);
}

ObjectPool& nodePool() {
    return pools[0];
}

ObjectPool& attributePool() {
    return pools[1];
}

}  // namespace KpXml::detail
