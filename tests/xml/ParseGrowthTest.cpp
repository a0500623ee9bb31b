// The work of a parse grows linearly with a tag's attributes and a text's references. Measured
// without a clock: the number and the bytes of the allocations a parse makes, at n and at 16n.
// A step that copied, converted or searched the text or the attribute list again for every
// attribute or reference would allocate about 256 times as much at 16n. This program replaces
// the global operator new, so it runs apart from the other tests.

#include "kpxml/KpXmlTree.h"
#include "ReplacedAllocation.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <sstream>
#include <string>

namespace {

std::size_t allocations = 0;
std::size_t allocatedBytes = 0;

}  // namespace

void* KpXml::test::allocateInTest(std::size_t size) {
    ++allocations;
    allocatedBytes += size;
    if (void* memory = std::malloc(size != 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}

namespace {

struct Work {
    std::size_t allocations;
    std::size_t bytes;
};

// A root with n attributes n0 .. n{n-1}, then n0 again and e, whose value is n references
// "&#8364;", as is the root's text; parsed, checked, and what the parse allocated.
Work parseManyAttributesAndReferences(int n) {
    std::string text = "<a";
    std::string euros;
    for (int i = 0; i < n; ++i) {
        text += " n" + std::to_string(i) + "=\"" + std::to_string(i) + '"';
        euros += "&#8364;";
    }
    std::istringstream in(text + " n0=\"again\" e=\"" + euros + "\">" + euros + "</a>");
    const std::size_t allocationsBefore = allocations;
    const std::size_t bytesBefore = allocatedBytes;
    const KpXmlTree tree(in);
    const Work work{allocations - allocationsBefore, allocatedBytes - bytesBefore};

    const auto count = static_cast<std::size_t>(n);
    const auto& attributes = tree.getRoot()->getAttributes();
    EXPECT_EQ(attributes.size(), count + 1);
    EXPECT_EQ(attributes[0]->getData(), "again");
    const std::string last = std::to_string(n - 1);
    EXPECT_EQ(attributes[count - 1]->getName() + '=' + attributes[count - 1]->getData(), "n" + last + '=' + last);
    EXPECT_EQ(attributes[count]->getData(), std::string(count, '\x80'));
    EXPECT_EQ(tree.getRoot()->getData(), std::string(count, '\x80'));
    return work;
}

TEST(ParseGrowthTest, ManyAttributesAndReferencesCostLinearWork) {
    parseManyAttributesAndReferences(100);  // the library's one-time tables are made here
    const Work small = parseManyAttributesAndReferences(6250);
    const Work large = parseManyAttributesAndReferences(16 * 6250);
    // 16 times the input: 16 times the work, give or take what grows by doubling.
    EXPECT_LE(large.allocations, 18 * small.allocations);
    EXPECT_GE(large.allocations, 14 * small.allocations);
    EXPECT_LE(large.bytes, 20 * small.bytes);
    EXPECT_GE(large.bytes, 12 * small.bytes);
}

}  // namespace
