// libFuzzer target: any input parses without crashing or hanging, the document writes, and the
// written text parses again. (The written text need not reproduce the tree: element names are
// written unescaped, so a name that holds markup reads back differently.)
//
//   cmake --preset fuzz && cmake --build --preset fuzz -j2
//   tools/run-fuzzer.sh build/fuzz/bin/kpxml_parse_fuzzer fuzz/corpus/parse fuzz/xml.dict 60
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include <kpxml/KpXmlTree.h>

namespace {

std::string written(const KpXmlTree& tree) {
    std::ostringstream out;
    tree.putToStream(out, true);
    return out.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    KpXmlTree tree(in);
    const std::string first = written(tree);

    std::istringstream again(first);
    const KpXmlTree reread(again);
    if (reread.getRoot() == nullptr) std::abort();  // a parse always leaves a root
    return 0;
}
