#ifndef KPXML_XML_NODEATTRIBUTES_H
#define KPXML_XML_NODEATTRIBUTES_H

#include <string>

class KpXmlAttributeData;
class KpXmlData;

namespace KpXml::detail {

// Gives attribute found of node the value and the entity flag; when found is null, appends a new
// attribute named name to node instead, without looking for one of that name (the caller has
// looked, or knows the name is new). Returns the attribute set.
KpXmlAttributeData& storeAttribute(KpXmlData& node, KpXmlAttributeData* found, const std::string& name,
                                   const std::string& value, bool entity);

}  // namespace KpXml::detail

#endif
