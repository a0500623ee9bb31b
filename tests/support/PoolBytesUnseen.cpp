#include "PoolBytes.h"

namespace KpXml::test {

std::optional<std::size_t> poolBytesReserved() {
    return std::nullopt;
}

}  // namespace KpXml::test
