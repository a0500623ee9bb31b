#ifndef KPXML_TEST_POOLBYTES_H
#define KPXML_TEST_POOLBYTES_H

#include <cstddef>
#include <optional>

namespace KpXml::test {

// The bytes of the blocks the node pools hold now: known where the program links the library's
// code in (PoolBytesLinkedIn.cpp); none through the shared library, which exports only its
// interface (PoolBytesUnseen.cpp).
std::optional<std::size_t> poolBytesReserved();

}  // namespace KpXml::test

#endif
