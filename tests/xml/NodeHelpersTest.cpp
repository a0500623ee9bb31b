// Tests of the static node helpers and the string attribute streams.

#include "kpxml/KpXmlAttributeStream.h"
#include "kpxml/KpXmlDataUtil.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

using Util = KpXmlDataUtil;

TEST(NodeHelpersTest, ReadersGiveTheValueOrTheirDefaultAndReadValKeepsThePresetValue) {
    KpXmlData node("n");
    node.setAttribute("a", "2.5x");
    node.setAttribute("z", "0.5");
    node.createChild("c")->setData(std::string("-3.5"));
    node.createChild("e");
    const auto get = [](const KpXmlData* on) {  // attribute "a" and child "c"
        return std::tuple(Util::getAttributeInt(on, "a"), Util::getAttributeDouble(on, "a"),
                          Util::getAttributeString(on, "a"), Util::getChildInt(on, "c"), Util::getChildDouble(on, "c"),
                          Util::getChildString(on, "c"));
    };
    EXPECT_EQ(get(&node), std::tuple(2, 2.5, std::string("2.5x"), -3, -3.5, std::string("-3.5")));
    EXPECT_EQ(get(nullptr), std::tuple(-1, 0.0, std::string(), 0, 0.0, std::string()));
    // What readVal leaves in an int, a real and two flags preset to 7, 7.5, true and false.
    const auto read = [](bool child, const KpXmlData* on, const char* name) {
        std::tuple<int, double, bool, bool> values{7, 7.5, true, false};
        std::apply([&](auto&... out) {
            child ? (Util::readValToChild(on, name, out), ...) : (Util::readValToAttribute(on, name, out), ...);
        }, values);
        return values;
    };
    const std::tuple kept(7, 7.5, true, false);
    EXPECT_EQ(read(false, &node, "a"), std::tuple(2, 2.5, true, true));
    EXPECT_EQ(read(false, &node, "z"), std::tuple(0, 0.5, false, false));
    EXPECT_EQ(read(true, &node, "c"), std::tuple(-3, -3.5, true, true));
    EXPECT_EQ(read(true, &node, "e"), std::tuple(0, 0.0, false, false));
    EXPECT_EQ(read(false, &node, "c"), kept);
    EXPECT_EQ(read(true, &node, "a"), kept);
}

TEST(NodeHelpersTest, SetChildDataWritesTheFirstChildOfThatNameAndTheCheckOnlyAboveTheThreshold) {
    KpXmlData node("n");
    KpXmlData* x = node.createChild("X");
    node.createChild("X");
    Util::setChildData(&node, "X", 0.1, nullptr);  // no format: twenty digits
    EXPECT_EQ(x->getData(), "0.10000000000000000555");
    Util::setChildData(&node, "Y", -4.0);
    const KpXmlData* y = node.getChildren().back();
    Util::setChildDataCheck(&node, "Y", 1e-9, 1e-9);  // not above: nothing written, nothing made
    Util::setChildDataCheck(&node, "Z", -1e-9, 1e-9, "%f");
    EXPECT_EQ(y->getData(), "-4");
    EXPECT_EQ(node.getChildren().size(), 3u);
    Util::setChildDataCheck(&node, "Y", -2.0, 1e-9);
    EXPECT_EQ(y->getData(), "-2");
    Util::setChildDataCheck(&node, "Y", -1.5000001, 1.5, "%.2f");
    EXPECT_EQ(y->getData(), "-1.50");
}

TEST(NodeHelpersTest, OpenToAttributeFindsOrCreatesByNarrowedKey) {
    KpXmlData node("n");
    node.createChild("Other")->setAttribute("id", 3);
    node.createChild("Case");  // no key
    KpXmlData* created = Util::openToAttribute(&node, "Case", "id", 4294967299ULL);
    EXPECT_EQ(node.getChildren().size(), 3u);
    EXPECT_EQ(created->getAttributeString("id"), "3");
    EXPECT_TRUE(created->findAttribute("id")->getEntityFlag());
    EXPECT_EQ(Util::openToAttribute(&node, "Case", "id", 3), created);
    EXPECT_EQ(node.getChildren().size(), 3u);
}

TEST(NodeHelpersTest, AttributeStreamsReadAndWriteStrings) {
    KpXmlData node("n");
    node.setAttribute("a", std::string(" v "), false);
    const kpt::Nullable<std::string> present = KpXml::AttributeIn::readString(node, "a");
    const kpt::Nullable<std::string> absent = KpXml::AttributeIn::readString(node, "b");
    EXPECT_EQ(std::tuple(present.hasValue(), present.getValue(), absent.hasValue(), absent.getValue()),
              std::tuple(true, " v ", false, ""));
    EXPECT_EQ(KpXml::AttributeIn::readString(node, "a", "fb"), " v ");
    EXPECT_EQ(KpXml::AttributeIn::readString(node, "b", "fb"), "fb");
    KpXml::AttributeOut::writeString(node, "", "v");  // ignored
    KpXml::AttributeOut::writeString(node, "a", "  w");
    EXPECT_EQ(node.getAttributes().size(), 1u);
    EXPECT_EQ(node.getAttributeString("a"), "  w");
    EXPECT_TRUE(node.findAttribute("a")->getEntityFlag());
}

}  // namespace
