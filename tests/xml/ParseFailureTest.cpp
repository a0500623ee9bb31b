// A parse that fails half-way: the stream buffer throws, or memory runs out. The error reaches the
// caller (as the stream's state or as the exception), the document stays usable, and nothing
// leaks (checked by the sanitizer build). This program replaces the global operator new, so it
// runs apart from the other tests.

#include "kpxml/KpXmlTree.h"

#include <gtest/gtest.h>

#include "FailingAllocation.h"
#include "TestSupport.h"
#include "xml/ObjectPool.h"

#include <new>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>

using KpXml::test::allocationsLeft;

namespace {

// A tag of several attributes, one of which takes memory of its own.
const std::string openTag = "<open n=\"1\" m=\"another value longer than a short string\">";
const std::string document =
    "<r a=\"1&amp;2\"><done k=\"a value longer than a short string\">x &lt; y</done>" + openTag +
    "<deep>partial text</deep></open></r>";
// What the elements before the failure point make.
const std::string readBeforeTheFailure = "<r a=\"1&amp;2\">\n<done k=\"a value longer than a short string\">x &lt; y</done>\n";

using KpXml::test::written;

// Serves the document's first `limit` bytes, then throws.
struct FailingBuffer : std::streambuf {
    explicit FailingBuffer(std::size_t limit) : text(document.substr(0, limit)) { seekpos(0, std::ios_base::in); }
    pos_type seekpos(pos_type position, std::ios_base::openmode) override {
        if (position != pos_type(0)) return pos_type(off_type(-1));
        setg(text.data(), text.data(), text.data() + text.size());
        return position;
    }
    int_type underflow() override { throw std::runtime_error("device lost"); }
    std::string text;
};

TEST(ParseFailureTest, AStreamBufferThatThrowsLeavesWhatWasReadAndABadStream) {
    const std::size_t limit = document.find("partial") + 3;
    FailingBuffer quiet(limit);
    std::istream in(&quiet);
    KpXmlTree tree("old");
    tree.buildOfStream(in);  // the elements begun are kept, closed where the input stopped
    EXPECT_TRUE(in.bad());
    const std::string kept = readBeforeTheFailure + openTag + "\n<deep />\n</open>\n</r>\n";
    EXPECT_EQ(written(tree), kept);

    FailingBuffer loud(limit);
    std::istream throwing(&loud);
    throwing.exceptions(std::ios_base::badbit);  // the buffer's own exception then reaches the caller
    EXPECT_THROW(tree.buildOfStream(throwing), std::runtime_error);
    EXPECT_EQ(written(tree), kept);
    FailingBuffer forConstructor(limit);
    std::istream again(&forConstructor);
    again.exceptions(std::ios_base::badbit);
    EXPECT_THROW(KpXmlTree{again}, std::runtime_error);
}

TEST(ParseFailureTest, RunningOutOfMemoryAtAnyAllocationReachesTheCaller) {
    const std::string complete = readBeforeTheFailure + openTag + "\n<deep>partial text</deep>\n</open>\n</r>\n";
    {
        std::istringstream in(document);  // fills the node pools first: the failures below hit the parse
        ASSERT_EQ(written(KpXmlTree(in)), complete);
    }
    // Every node and attribute begun goes back to its pool, also when its own text could not be made.
    const std::size_t nodesInUse = KpXml::detail::nodePool().bytesInUse();
    const std::size_t attributesInUse = KpXml::detail::attributePool().bytesInUse();
    long failures = 0;
    for (long allowed = 0;; ++allowed) {
        std::istringstream in(document);
        KpXmlTree tree("old");
        tree.getRoot()->createChild("child")->createChild("grandchild");  // replacing it takes memory
        allocationsLeft = allowed;
        try {
            tree.buildOfStream(in);
        } catch (const std::bad_alloc&) {
            allocationsLeft = -1;
            ++failures;
            written(tree);  // whatever was built can still be written and destroyed
            continue;
        }
        allocationsLeft = -1;
        EXPECT_EQ(written(tree), complete);
        break;
    }
    EXPECT_GT(failures, 0);  // the failures above were real
    EXPECT_EQ(KpXml::detail::nodePool().bytesInUse(), nodesInUse);
    EXPECT_EQ(KpXml::detail::attributePool().bytesInUse(), attributesInUse);
}

}  // namespace
