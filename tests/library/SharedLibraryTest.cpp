// The shipped shared library (libkpxml.so, KpXml.dll) used through its public headers only, as a
// program outside the project would use it.

#include <gtest/gtest.h>

#include <kpxml/KpXml.h>
#include <kpxml/KpXmlApi.h>

#include "TestSupport.h"

namespace {

using kpxml::test::countInvalidParameter;
int& handlerCalls = kpxml::test::invalidParameterCalls;

TEST(SharedLibrary, NodesBuiltAcrossTheLibraryBoundaryReadBack) {
    KpXmlData root("root");
    KpXmlData* child = root.openChild("item", false);
    child->setAttribute("id", 3000000000ULL);
    child->setData(0.1);
    EXPECT_EQ(root.findTree("item", true), child);
    EXPECT_EQ(child->getAttributeString("id"), "-1294967296");
    EXPECT_EQ(KpXmlDataUtil::getChildDouble(&root, "item"), 0.1);
    EXPECT_FALSE(KpXml::AttributeIn::readString(root, "missing").hasValue());
}

TEST(SharedLibrary, InvalidParameterHandlerIsProcessWideAndReplaceable) {
    const KpXmlInvalidParameterHandler previous = KpXml_SetInvalidParameterHandler(&countInvalidParameter);
    ASSERT_NE(previous, nullptr);
    KpXmlData node("n");
    node.setData(1.5, "%d");
    EXPECT_EQ(handlerCalls, 1);
    EXPECT_EQ(node.getData(), "");
    EXPECT_EQ(KpXml_SetInvalidParameterHandler(previous), &countInvalidParameter);
}

}  // namespace
