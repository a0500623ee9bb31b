#ifndef KPXML_XML_SHORTCOPY_H
#define KPXML_XML_SHORTCOPY_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace KpXml::detail {

// Copies size bytes, from sizeof(Word) to 2 * sizeof(Word), as the first and the last word of
// them (which may overlap), both read before either is written.
template <typename Word>
inline void copyFirstAndLastWord(char* out, const char* source, std::size_t size) {
    Word first;
    Word last;
    std::memcpy(&first, source, sizeof(Word));
    std::memcpy(&last, source + size - sizeof(Word), sizeof(Word));
    std::memcpy(out, &first, sizeof(Word));
    std::memcpy(out + size - sizeof(Word), &last, sizeof(Word));
}

// Copies size bytes from source to out and returns the end of the copy. The writer copies mostly
// short pieces (names, numbers, entities, indentation): up to 16 bytes go as two overlapping
// fixed-size moves, with no call; longer ones through memcpy. Reads and writes only the size bytes.
inline char* copyBytes(char* out, const char* source, std::size_t size) {
    // The shortest first: most names are a few bytes long.
    if (size < 4) {
        if (size != 0) {
            // 1 to 3 bytes: the first, the middle and the last (some are the same byte).
            const char first = source[0];
            const char middle = source[size / 2];
            const char last = source[size - 1];
            out[0] = first;
            out[size / 2] = middle;
            out[size - 1] = last;
        }
    } else if (size < 8) {
        copyFirstAndLastWord<std::uint32_t>(out, source, size);
    } else if (size <= 16) {
        copyFirstAndLastWord<std::uint64_t>(out, source, size);
    } else {
        std::memcpy(out, source, size);
    }
    return out + size;
}

// True when the first and the last word of the size bytes at a and at b are equal: for size
// from sizeof(Word) to 2 * sizeof(Word), where they cover all the bytes.
template <typename Word>
inline bool firstAndLastWordEqual(const char* a, const char* b, std::size_t size) {
    Word aFirst;
    Word bFirst;
    Word aLast;
    Word bLast;
    std::memcpy(&aFirst, a, sizeof(Word));
    std::memcpy(&bFirst, b, sizeof(Word));
    std::memcpy(&aLast, a + size - sizeof(Word), sizeof(Word));
    std::memcpy(&bLast, b + size - sizeof(Word), sizeof(Word));
    return ((aFirst ^ bFirst) | (aLast ^ bLast)) == 0;
}

// True when the size bytes at a and at b are equal. As copyBytes: up to 16 bytes with no call,
// from 4 bytes on as two overlapping words; longer ones through memcmp. Reads only the size bytes
// of each.
inline bool equalBytes(const char* a, const char* b, std::size_t size) {
    if (size < 4) {
        for (std::size_t i = 0; i < size; ++i) {
            if (a[i] != b[i]) return false;
        }
        return true;
    }
    if (size < 8) return firstAndLastWordEqual<std::uint32_t>(a, b, size);
    if (size <= 16) return firstAndLastWordEqual<std::uint64_t>(a, b, size);
    return std::memcmp(a, b, size) == 0;
}

// Copies the 16 bytes at source to out with two fixed-size moves: for a piece of at most 16 bytes
// where 16 bytes may be read at source and written at out.
inline void copyBlock16(char* out, const char* source) {
    copyFirstAndLastWord<std::uint64_t>(out, source, 16);
}

}  // namespace KpXml::detail

#endif  // KPXML_XML_SHORTCOPY_H
