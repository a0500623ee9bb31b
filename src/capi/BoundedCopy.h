#ifndef KPXML_CAPI_BOUNDEDCOPY_H
#define KPXML_CAPI_BOUNDEDCOPY_H

#include <cstddef>

namespace KpXml::detail::capi {

// Copies text (up to its terminator) with the terminator into buffer when it fits in bufferSize
// bytes, and returns true. Otherwise, and for a null buffer or a size of 0, nothing is truncated:
// the buffer is emptied when there is room for that, the invalid-parameter handler is called, and
// the result is false.
bool copyBounded(char* buffer, std::size_t bufferSize, const char* text);

// The length of the text in buffer, up to its terminator; 0 for a null buffer or a size of 0.
int lengthInBuffer(const char* buffer, std::size_t bufferSize);

}  // namespace KpXml::detail::capi

#endif
