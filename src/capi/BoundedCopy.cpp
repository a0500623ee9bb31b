#include "capi/BoundedCopy.h"

#include <cstring>

#include "xml/InvalidParameter.h"

namespace KpXml::detail::capi {

bool copyBounded(char* buffer, std::size_t bufferSize, const char* text) {
    const std::size_t length = std::strlen(text);
    if (buffer != nullptr && length < bufferSize) {
        std::memcpy(buffer, text, length + 1);
        return true;
    }
    if (buffer != nullptr && bufferSize != 0) buffer[0] = '\0';
    raiseInvalidParameter();
    return false;
}

int lengthInBuffer(const char* buffer, std::size_t bufferSize) {
    if (buffer == nullptr || bufferSize == 0) return 0;
    const void* terminator = std::memchr(buffer, '\0', bufferSize);
    const std::size_t length = terminator != nullptr ? static_cast<std::size_t>(static_cast<const char*>(terminator) - buffer) : bufferSize;
    return static_cast<int>(length);
}

}  // namespace KpXml::detail::capi
