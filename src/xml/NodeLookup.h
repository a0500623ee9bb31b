#ifndef KPXML_XML_NODELOOKUP_H
#define KPXML_XML_NODELOOKUP_H

#include <string>

#include "kpxml/KpXmlData.h"

// Lookups that accept a null node, for the helpers and C functions that take node pointers.
namespace KpXml::detail {

// The node's first attribute called name; null when node is null or has no such attribute.
inline const KpXmlAttributeData* attributeOf(const KpXmlData* node, const std::string& name) {
    return node != nullptr ? node->findAttribute(name) : nullptr;
}

// The node's first child called name; null when node is null or has no such child.
inline const KpXmlData* childOf(const KpXmlData* node, const std::string& name) {
    return node != nullptr ? node->findChild(name) : nullptr;
}

}  // namespace KpXml::detail

#endif
