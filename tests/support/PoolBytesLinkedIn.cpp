#include "PoolBytes.h"

#include "xml/ObjectPool.h"

namespace KpXml::test {

std::optional<std::size_t> poolBytesReserved() {
    return detail::nodePool().bytesReserved() + detail::attributePool().bytesReserved();
}

}  // namespace KpXml::test
