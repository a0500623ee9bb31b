#ifndef KPXML_KPXMLATTRIBUTEDATA_H
#define KPXML_KPXMLATTRIBUTEDATA_H

#include <cstddef>
#include <string>

#include "kpxml/KpXmlExport.h"

namespace KpXml::detail {
class NodeAccess;
}

// One attribute of an element: a name, its value text and an entity flag. Numbers are kept as
// text and converted on every read.
class KPXML_API KpXmlAttributeData {
public:
    // Stores name and value; the entity flag starts true.
    KpXmlAttributeData(const std::string& name, const std::string& data);
    KpXmlAttributeData(const KpXmlAttributeData& other) = default;
    KpXmlAttributeData& operator=(const KpXmlAttributeData& other) = default;
    virtual ~KpXmlAttributeData();

    // Nodes and attributes come from the library's pools, which make them cheap to create and
    // destroy; derived classes larger than a slot use the global heap.
    static void* operator new(std::size_t size);
    static void operator delete(void* object, std::size_t size) noexcept;

    // The attribute's name.
    const std::string& getName() const { return name; }
    // The value text as stored.
    const std::string& getData() const { return data; }
    // The value text as stored (same as getData).
    const std::string& getString() const { return data; }
    // The value text as a NUL-terminated pointer into this record; valid until the value changes.
    const char* getChar() const { return data.c_str(); }
    // The value text read as an integer (leading digits; 0 when there are none).
    int getInteger() const;
    // The value text read as a real (leading number; 0.0 when there is none).
    double getDouble() const;
    // True when the writer escapes the value into entities, false when it prints it verbatim.
    bool getEntityFlag() const { return entityFlag; }

    // Replaces the name.
    void setName(const std::string& newName);
    // Replaces the value text; the entity flag stays as it is.
    void setData(const std::string& newData);
    // Sets whether the writer escapes the value.
    void setEntityFlag(bool flag) { entityFlag = flag; }

    // True when the value text equals value byte for byte.
    bool checkValue(const std::string& value) const;
    // True when the value text read as an integer equals value.
    bool checkValue(int value) const;
    // True when |value text read as a real - value| < tolerance (never for tolerance 0 or NaN).
    bool checkValue(double value, double tolerance) const;

private:
    // For the library's parser: name and value made by makeString straight from the bytes read, each
    // copied once. Inline, so that the parser makes each attribute without a call.
    template <typename MakeString>
    KpXmlAttributeData(MakeString makeString, const char* initialName, std::size_t nameSize, const char* initialData,
                       std::size_t dataSize, bool entity)
        : name(makeString(initialName, nameSize)), data(makeString(initialData, dataSize)), entityFlag(entity) {}

    std::string name;
    std::string data;
    bool entityFlag;

    friend class KpXml::detail::NodeAccess;
};

#endif
