#ifndef KPXML_KPXMLATTRIBUTESTREAM_H
#define KPXML_KPXMLATTRIBUTESTREAM_H

#include <string>

#include "kpxml/KpNullable.h"
#include "kpxml/KpXmlData.h"
#include "kpxml/KpXmlExport.h"

namespace KpXml {

// Reads string attributes of a node.
class KPXML_API AttributeIn {
public:
    // A copy of the attribute's text, or an absent value (with empty text) when it is missing.
    static kpt::Nullable<std::string> readString(const KpXmlData& node, const std::string& name);
    // A copy of the attribute's text, or a copy of fallback when it is missing.
    static std::string readString(const KpXmlData& node, const std::string& name, const std::string& fallback);
};

// Writes string attributes of a node.
class KPXML_API AttributeOut {
public:
    // Sets the attribute (escaped when written); does nothing when name is empty.
    static void writeString(KpXmlData& node, const std::string& name, const std::string& value);
};

}  // namespace KpXml

#endif
