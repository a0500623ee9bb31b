#ifndef KPXML_XML_TEXTBUFFER_H
#define KPXML_XML_TEXTBUFFER_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "xml/ShortCopy.h"

namespace KpXml::detail {

// Moves the first used bytes of bytes (which has room for capacity) into a new array with room
// for at least wanted bytes and at least twice the room there was, and records that room in
// capacity. The new bytes beyond the used ones are left uninitialised: only what is written is read.
inline void growBytes(std::unique_ptr<char[]>& bytes, std::size_t used, std::size_t& capacity, std::size_t wanted) {
    const std::size_t room = std::max(wanted, 2 * capacity);
    std::unique_ptr<char[]> larger(new char[room]);
    if (used != 0) std::memcpy(larger.get(), bytes.get(), used);
    bytes = std::move(larger);
    capacity = room;
}

// The text an element gathers while it is read, appended run by run. Its bytes are kept in one
// array that grows by doubling and keeps its room from element to element, so that appending a
// short run is a copy without a call.
class TextBuffer {
public:
    TextBuffer() = default;
    TextBuffer(const TextBuffer&) = delete;
    TextBuffer& operator=(const TextBuffer&) = delete;

    // True when nothing has been gathered.
    bool empty() const { return used == 0; }
    // The gathered text; empty when nothing has been.
    std::string_view view() const { return std::string_view(bytes.get(), used); }
    // Forgets the text, keeping the room.
    void clear() { used = 0; }
    // Appends the bytes [begin, end).
    void append(const char* begin, const char* end) { append(std::string_view(begin, static_cast<std::size_t>(end - begin))); }
    // Appends the bytes of piece.
    void append(std::string_view piece) {
        if (capacity - used < piece.size()) grow(piece.size());
        copyBytes(bytes.get() + used, piece.data(), piece.size());
        used += piece.size();
    }
    // Replaces the text with text.
    void assign(std::string_view text) {
        clear();
        append(text);
    }

private:
    // Makes room for more bytes after the text, at least twice the room there was.
    void grow(std::size_t more) { growBytes(bytes, used, capacity, std::max(used + more, std::size_t{64})); }

    std::unique_ptr<char[]> bytes;
    std::size_t used = 0;
    std::size_t capacity = 0;
};

}  // namespace KpXml::detail

#endif
