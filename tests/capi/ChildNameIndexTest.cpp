// The C interface's index of a parent's children by name, with the parent's child list changed
// directly in C++ while the index is built.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "capi/Registries.h"
#include "kpxml/KpXmlApi.h"

namespace {

TEST(ChildNameIndex, ForgetsAChildDestroyedThroughAChildListHeldFromBefore) {
    const int tree = XML_Get_Tree("index");
    const int root = XML_Create_Root_Tag(tree, "r");
    for (int i = 0; i < 100; ++i) XML_Add_Child_Tag(root, ("c" + std::to_string(i)).c_str());
    const int second = XML_Add_Child_Tag(root, "c7");
    std::vector<KpXmlData*>& children = KpXml::detail::capi::element(root)->getChildren();
    ASSERT_EQ(XML_Find_Child_Tag(root, "c7"), root + 8);
    ASSERT_EQ(XML_Find_Child_Tag(root, "c7"), root + 8);  // the second search in a row builds the index
    delete children[7];
    children.erase(children.begin() + 7);
    EXPECT_EQ(XML_Find_Child_Tag(root, "c7"), second);
    EXPECT_EQ(XML_Find_Child_Tag(root, "c8"), root + 9);
    XML_Delete_Tree(tree);
}

}  // namespace
