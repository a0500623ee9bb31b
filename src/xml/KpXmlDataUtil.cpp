#include "kpxml/KpXmlDataUtil.h"

#include <cmath>

#include "kpxml/KpXmlAttributeStream.h"
#include "xml/NodeLookup.h"
#include "xml/TextConvert.h"

using KpXml::detail::attributeOf;
using KpXml::detail::childOf;

int KpXmlDataUtil::getAttributeInt(const KpXmlData* node, const std::string& name) {
    return node != nullptr ? node->getAttributeInt(name) : -1;
}

double KpXmlDataUtil::getAttributeDouble(const KpXmlData* node, const std::string& name) {
    return node != nullptr ? node->getAttributeDouble(name) : 0.0;
}

std::string KpXmlDataUtil::getAttributeString(const KpXmlData* node, const std::string& name) {
    return node != nullptr ? node->getAttributeString(name) : std::string();
}

int KpXmlDataUtil::getChildInt(const KpXmlData* node, const std::string& name) {
    return node != nullptr ? node->getChildInt(name) : 0;
}

double KpXmlDataUtil::getChildDouble(const KpXmlData* node, const std::string& name) {
    return node != nullptr ? node->getChildDouble(name) : 0.0;
}

std::string KpXmlDataUtil::getChildString(const KpXmlData* node, const std::string& name) {
    return node != nullptr ? node->getChildString(name) : std::string();
}

bool KpXmlDataUtil::getVector(const KpXmlData* node, double& x, double& y, double& z) {
    if (node == nullptr) return false;
    node->getVector(x, y, z);
    return true;
}

void KpXmlDataUtil::readIntSet(const KpXmlData* node, std::set<int>& values) {
    if (node != nullptr) node->readIntSet(values);
}

void KpXmlDataUtil::writeIntSet(KpXmlData* node, const std::set<int>& values) {
    if (node != nullptr) node->writeIntSet(values);
}

void KpXmlDataUtil::readValToAttribute(const KpXmlData* node, const std::string& name, int& out) {
    if (const KpXmlAttributeData* attribute = attributeOf(node, name)) out = attribute->getInteger();
}

void KpXmlDataUtil::readValToAttribute(const KpXmlData* node, const std::string& name, double& out) {
    if (const KpXmlAttributeData* attribute = attributeOf(node, name)) out = attribute->getDouble();
}

void KpXmlDataUtil::readValToAttribute(const KpXmlData* node, const std::string& name, bool& out) {
    if (const KpXmlAttributeData* attribute = attributeOf(node, name)) out = attribute->getInteger() != 0;
}

void KpXmlDataUtil::readValToChild(const KpXmlData* node, const std::string& name, int& out) {
    if (const KpXmlData* child = childOf(node, name)) out = KpXml::detail::atoi(child->getData());
}

void KpXmlDataUtil::readValToChild(const KpXmlData* node, const std::string& name, double& out) {
    if (const KpXmlData* child = childOf(node, name)) out = KpXml::detail::atof(child->getData());
}

void KpXmlDataUtil::readValToChild(const KpXmlData* node, const std::string& name, bool& out) {
    if (const KpXmlData* child = childOf(node, name)) out = KpXml::detail::atoi(child->getData()) != 0;
}

void KpXmlDataUtil::setChildData(KpXmlData* node, const std::string& name, double value, const char* format) {
    if (node == nullptr) return;
    KpXmlData* child = node->openChild(name, false);
    if (format != nullptr) {
        child->setData(value, format);
    } else {
        child->setData(value);
    }
}

void KpXmlDataUtil::setChildData(KpXmlData* node, const std::string& name, double value) {
    setChildData(node, name, value, nullptr);
}

void KpXmlDataUtil::setChildData(KpXmlData* node, const std::string& name, int value) {
    if (node != nullptr) node->openChild(name, false)->setData(value);
}

void KpXmlDataUtil::setChildDataCheck(KpXmlData* node, const std::string& name, double value, double threshold) {
    setChildDataCheck(node, name, value, threshold, nullptr);
}

void KpXmlDataUtil::setChildDataCheck(KpXmlData* node, const std::string& name, double value, double threshold,
                                      const char* format) {
    if (std::fabs(value) > threshold) setChildData(node, name, value, format);
}

KpXmlData* KpXmlDataUtil::openToAttribute(KpXmlData* node, const std::string& childName, const std::string& attrName,
                                          unsigned long long key) {
    return openToAttribute(node, childName, attrName, static_cast<int>(KpXml::detail::lowBitsAsInt(key)));
}

KpXmlData* KpXmlDataUtil::openToAttribute(KpXmlData* node, const std::string& childName, const std::string& attrName,
                                          int key) {
    if (node == nullptr) return nullptr;
    if (KpXmlData* found = node->findChildToAttribute(childName, attrName, key)) return found;
    KpXmlData* child = new KpXmlData(childName, node);
    node->addChild(child);
    child->setAttribute(attrName, key, true);
    return child;
}

namespace KpXml {

kpt::Nullable<std::string> AttributeIn::readString(const KpXmlData& node, const std::string& name) {
    const KpXmlAttributeData* attribute = node.findAttribute(name);
    if (attribute == nullptr) return kpt::Nullable<std::string>();
    return kpt::Nullable<std::string>(attribute->getData());
}

std::string AttributeIn::readString(const KpXmlData& node, const std::string& name, const std::string& fallback) {
    const KpXmlAttributeData* attribute = node.findAttribute(name);
    return attribute != nullptr ? attribute->getData() : fallback;
}

void AttributeOut::writeString(KpXmlData& node, const std::string& name, const std::string& value) {
    if (!name.empty()) node.setAttribute(name, value, true);
}

}  // namespace KpXml
