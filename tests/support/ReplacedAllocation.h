#ifndef KPXML_SUPPORT_REPLACEDALLOCATION_H
#define KPXML_SUPPORT_REPLACEDALLOCATION_H

// Replaces the global operator new and delete of the test program that includes this header (in
// one of its files only): every allocation goes through KpXml::test::allocateInTest, which the
// program defines, and every release to std::free.

#include <cstddef>
#include <cstdlib>
#include <new>

namespace KpXml::test {

// Allocates size bytes from std::malloc, or throws std::bad_alloc; defined by the test program.
void* allocateInTest(std::size_t size);

}  // namespace KpXml::test

void* operator new(std::size_t size) { return KpXml::test::allocateInTest(size); }
void* operator new[](std::size_t size) { return KpXml::test::allocateInTest(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

#endif
