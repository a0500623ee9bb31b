#include "FailingAllocation.h"

#include <cstdlib>
#include <new>

long KpXml::test::allocationsLeft = -1;

namespace {

void* allocate(std::size_t size) {
    long& left = KpXml::test::allocationsLeft;
    if (left == 0) throw std::bad_alloc();
    if (left > 0) --left;
    if (void* memory = std::malloc(size != 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
