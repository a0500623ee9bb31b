#ifndef KPXML_XML_SHORTCOPY_H
#define KPXML_XML_SHORTCOPY_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace KpXml::detail {

// Copies size bytes from source to out and returns the end of the copy. The writer copies mostly
// short pieces (names, numbers, entities, indentation): up to 16 bytes go as two overlapping
// fixed-size moves, with no call; longer ones through memcpy. Reads and writes only the size bytes.
inline char* copyBytes(char* out, const char* source, std::size_t size) {
    if (size > 16) {
        std::memcpy(out, source, size);
    } else if (size >= 8) {
        std::uint64_t head;
        std::uint64_t tail;
        std::memcpy(&head, source, 8);
        std::memcpy(&tail, source + size - 8, 8);
        std::memcpy(out, &head, 8);
        std::memcpy(out + size - 8, &tail, 8);
    } else if (size >= 4) {
        std::uint32_t head;
        std::uint32_t tail;
        std::memcpy(&head, source, 4);
        std::memcpy(&tail, source + size - 4, 4);
        std::memcpy(out, &head, 4);
        std::memcpy(out + size - 4, &tail, 4);
    } else if (size != 0) {
        // 1 to 3 bytes: the first, the middle and the last (some are the same byte).
        const char first = source[0];
        const char middle = source[size / 2];
        const char last = source[size - 1];
        out[0] = first;
        out[size / 2] = middle;
        out[size - 1] = last;
    }
    return out + size;
}

// Copies the 16 bytes at source to out, reading all of them before writing any, so the two may
// overlap. For a piece of at most 16 bytes where 16 bytes may be read at source and written at out.
inline void copyBlock16(char* out, const char* source) {
    std::uint64_t head;
    std::uint64_t tail;
    std::memcpy(&head, source, 8);
    std::memcpy(&tail, source + 8, 8);
    std::memcpy(out, &head, 8);
    std::memcpy(out + 8, &tail, 8);
}

}  // namespace KpXml::detail

#endif  // KPXML_XML_SHORTCOPY_H
