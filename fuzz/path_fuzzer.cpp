// libFuzzer target: reading tags, texts and references directly, where the parser does so, gives
// the same events (start tags, end tags with their texts, the document's end), the same tree,
// node by node, and leaves the stream at the same place as reading everything step by step. The
// first
// input byte sets the size of the pieces in which the stream hands out the rest (1 to 256 bytes,
// or all at once for 255), so that tags straddle what the parser reads at a time.
//
//   cmake --preset fuzz && cmake --build --preset fuzz -j2
//   tools/run-fuzzer.sh build/fuzz/bin/kpxml_path_fuzzer fuzz/corpus/path fuzz/xml.dict 60
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/ParseComparison.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::size_t pieceSize = data[0] == 255 ? size : std::size_t{data[0]} + 1;
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    const std::string difference = KpXml::test::pathDifference(text, pieceSize);
    if (!difference.empty()) {
        std::fprintf(stderr, "the two ways of reading tags differ: %s\n", difference.c_str());
        std::abort();
    }
    return 0;
}
