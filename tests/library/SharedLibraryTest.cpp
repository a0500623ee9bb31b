// The shipped shared library (libkpxml.so, KpXml.dll) used through its public headers only, as a
// program outside the project would use it.

#include <gtest/gtest.h>

#include <kpxml/KpXml.h>

namespace {

TEST(SharedLibrary, NodesBuiltAcrossTheLibraryBoundaryReadBack) {
    KpXmlData root("root");
    KpXmlData* child = root.openChild("item", false);
    child->setAttribute("id", 3000000000ULL);
    child->setData(0.1);
    EXPECT_EQ(root.findTree("item", true), child);
    EXPECT_EQ(child->getAttributeString("id"), "-1294967296");
    EXPECT_EQ(KpXmlDataUtil::getChildDouble(&root, "item"), 0.1);
    EXPECT_FALSE(KpXml::AttributeIn::readString(root, "missing").hasValue());
    EXPECT_EQ(KpXml::AttributeIn::readString(root, "missing", "fallback"), "fallback");
    KpXml::AttributeOut::writeString(root, "", "v");  // ignored
    KpXml::AttributeOut::writeString(root, "a", " w ");
    EXPECT_EQ(KpXml::AttributeIn::readString(root, "a", "fallback"), " w ");
    EXPECT_EQ(root.getAttributes().size(), 1u);
}

}  // namespace
