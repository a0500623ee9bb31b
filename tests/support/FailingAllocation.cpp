#include "FailingAllocation.h"
#include "ReplacedAllocation.h"

long KpXml::test::allocationsLeft = -1;

void* KpXml::test::allocateInTest(std::size_t size) {
    long& left = allocationsLeft;
    if (left == 0) throw std::bad_alloc();
    if (left > 0) --left;
    if (void* memory = std::malloc(size != 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}
