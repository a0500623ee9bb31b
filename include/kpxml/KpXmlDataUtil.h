#ifndef KPXML_KPXMLDATAUTIL_H
#define KPXML_KPXMLDATAUTIL_H

#include <set>
#include <string>

#include "kpxml/KpXmlData.h"
#include "kpxml/KpXmlExport.h"

// Static helpers over node pointers that combine the node's own operations into one call. A null
// node reads as a node without children and attributes, and writing to it does nothing.
class KPXML_API KpXmlDataUtil {
public:
    // The attribute as an integer, or -1 when missing.
    static int getAttributeInt(const KpXmlData* node, const std::string& name);
    // The attribute as a real, or 0.0 when missing.
    static double getAttributeDouble(const KpXmlData* node, const std::string& name);
    // A copy of the attribute's text, or an empty string when missing.
    static std::string getAttributeString(const KpXmlData* node, const std::string& name);
    // The first child's text as an integer, or 0 when the child is missing or its text empty.
    static int getChildInt(const KpXmlData* node, const std::string& name);
    // The first child's text as a real, or 0.0 when the child is missing or its text empty.
    static double getChildDouble(const KpXmlData* node, const std::string& name);
    // A copy of the first child's text, or an empty string when the child is missing.
    static std::string getChildString(const KpXmlData* node, const std::string& name);

    // Reads the "X", "Y" and "Z" children into x, y and z and returns true; false, leaving the
    // outputs alone, when node is null.
    static bool getVector(const KpXmlData* node, double& x, double& y, double& z);
    // Inserts every attribute's value, read as an integer, into values (not cleared first).
    static void readIntSet(const KpXmlData* node, std::set<int>& values);
    // Sets attributes "N0", "N1", ... to the set's elements in ascending order.
    static void writeIntSet(KpXmlData* node, const std::set<int>& values);

    // Each readVal... sets out when the attribute or child exists and otherwise leaves it as it is,
    // so that a caller presets the default and reads over it.
    static void readValToAttribute(const KpXmlData* node, const std::string& name, int& out);
    static void readValToAttribute(const KpXmlData* node, const std::string& name, double& out);
    // out = attribute read as an integer != 0.
    static void readValToAttribute(const KpXmlData* node, const std::string& name, bool& out);
    // From the first child of that name; an empty text reads as 0.
    static void readValToChild(const KpXmlData* node, const std::string& name, int& out);
    static void readValToChild(const KpXmlData* node, const std::string& name, double& out);
    // out = child's text read as an integer != 0.
    static void readValToChild(const KpXmlData* node, const std::string& name, bool& out);

    // Sets the text of the first child of that name (created when missing) to value, printed with
    // format when it is not null, else with 20 significant digits.
    static void setChildData(KpXmlData* node, const std::string& name, double value, const char* format);
    // Sets the text of the first child of that name (created when missing) to value.
    static void setChildData(KpXmlData* node, const std::string& name, double value);
    static void setChildData(KpXmlData* node, const std::string& name, int value);
    // setChildData only when |value| > threshold (strictly); otherwise nothing is created or changed.
    static void setChildDataCheck(KpXmlData* node, const std::string& name, double value, double threshold);
    static void setChildDataCheck(KpXmlData* node, const std::string& name, double value, double threshold,
                                  const char* format);

    // The first child named childName whose attribute attrName reads as the integer key (the key's
    // low 32 bits); when there is none, a new such child is appended and returned. Null for a null node.
    static KpXmlData* openToAttribute(KpXmlData* node, const std::string& childName, const std::string& attrName,
                                      unsigned long long key);
    static KpXmlData* openToAttribute(KpXmlData* node, const std::string& childName, const std::string& attrName,
                                      int key);
};

#endif
