// The C functions that read and write element texts and attributes as numbers and strings, and
// append text lines: each once for the global document's current node, once by handle.
#include <locale>
#include <sstream>
#include <string>

#include "capi/BoundedCopy.h"
#include "capi/Registries.h"
#include "kpxml/KpXmlApi.h"
#include "kpxml/KpXmlExport.h"
#include "xml/NodeLookup.h"
#include "xml/TextConvert.h"

using KpXml::detail::capi::CallLock;
using KpXml::detail::capi::element;
using KpXml::detail::capi::state;

namespace {

KpXmlTree* globalDocument() {
    return state().globalDocument.get();
}

// The global document's current node, or null when there is no document or no current node.
KpXmlData* currentNode() {
    KpXmlTree* document = globalDocument();
    return document != nullptr ? document->getCurrentNode() : nullptr;
}

// Reads a value from text by formatted stream extraction in the "C" locale; value keeps what the
// extraction leaves.
template <typename Value>
void extract(const std::string& text, Value& value) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    in >> value;
}

// text, a line feed when text is not empty, and line.
std::string withLine(const std::string& text, const char* line) {
    std::string joined = text;
    if (!joined.empty()) joined += '\n';
    joined += line;
    return joined;
}

}  // namespace

using KpXml::detail::attributeOf;

extern "C" {

// ---- The current node of the global document ----------------------------------------------

KPXML_API int XML_GetInt(int* value) {
    const CallLock lock;
    const KpXmlData* node = currentNode();
    if (value == nullptr || node == nullptr) return 0;
    extract(node->getData(), *value);
    return 1;
}

KPXML_API int XML_GetReal(double* value) {
    const CallLock lock;
    const KpXmlData* node = currentNode();
    if (value == nullptr || node == nullptr) return 0;
    extract(node->getData(), *value);
    return 1;
}

KPXML_API int XML_GetText(char* buffer, size_t bufferSize, int* length) {
    const CallLock lock;
    const KpXmlData* node = currentNode();
    if (buffer == nullptr || node == nullptr) return 0;
    KpXml::detail::capi::copyBounded(buffer, bufferSize, node->getData().c_str());
    if (length != nullptr) *length = static_cast<int>(node->getData().size());
    return 1;
}

KPXML_API int XML_SetInt(int value) {
    const CallLock lock;
    if (globalDocument() == nullptr) return 0;
    if (KpXmlData* node = currentNode()) node->setData(value);
    return 1;
}

KPXML_API int XML_SetReal(double value) {
    const CallLock lock;
    if (globalDocument() == nullptr) return 0;
    if (KpXmlData* node = currentNode()) node->setData(value);
    return 1;
}

KPXML_API int XML_SetRealFormat(double value, const char* format) {
    const CallLock lock;
    KpXmlTree* document = globalDocument();
    if (document == nullptr) return 0;
    document->setValue(value, format);  // a null format raises the invalid-parameter handler
    return 1;
}

KPXML_API int XML_SetText(const char* text) {
    const CallLock lock;
    if (text == nullptr || globalDocument() == nullptr) return 0;
    if (KpXmlData* node = currentNode()) node->setData(std::string(text));
    return 1;
}

KPXML_API int XML_GetAttributeInt(const char* name, int* value) {
    const CallLock lock;
    if (name == nullptr || value == nullptr) return 0;
    const KpXmlAttributeData* attribute = attributeOf(currentNode(), name);
    if (attribute == nullptr) return 0;
    *value = attribute->getInteger();
    return 1;
}

KPXML_API int XML_GetAttributeReal(const char* name, double* value) {
    const CallLock lock;
    if (name == nullptr || value == nullptr) return 0;
    const KpXmlAttributeData* attribute = attributeOf(currentNode(), name);
    if (attribute == nullptr) return 0;
    *value = attribute->getDouble();
    return 1;
}

KPXML_API int XML_GetAttributeText(const char* name, char* buffer, size_t bufferSize, int* length) {
    const CallLock lock;
    if (name == nullptr || buffer == nullptr) return 0;
    const KpXmlAttributeData* attribute = attributeOf(currentNode(), name);
    if (attribute == nullptr) return 0;
    KpXml::detail::capi::copyBounded(buffer, bufferSize, attribute->getChar());
    if (length != nullptr) *length = static_cast<int>(attribute->getData().size());
    return 1;
}

KPXML_API int XML_SetAttributeInt(const char* name, int value) {
    const CallLock lock;
    if (name == nullptr || globalDocument() == nullptr) return 0;
    if (KpXmlData* node = currentNode()) node->setAttribute(name, value, true);
    return 1;
}

KPXML_API int XML_SetAttributeReal(const char* name, double value) {
    const CallLock lock;
    KpXmlTree* document = globalDocument();
    if (name == nullptr || document == nullptr) return 0;
    document->setAttribute(name, value);
    return 1;
}

KPXML_API int XML_SetAttributeRealFormat(const char* name, double value, const char* format) {
    const CallLock lock;
    KpXmlTree* document = globalDocument();
    if (name == nullptr || format == nullptr || document == nullptr) return 0;
    document->setAttribute(name, value, format);
    return 1;
}

KPXML_API int XML_SetAttributeText(const char* name, const char* text) {
    const CallLock lock;
    if (name == nullptr || text == nullptr || globalDocument() == nullptr) return 0;
    if (KpXmlData* node = currentNode()) node->setAttribute(name, std::string(text), true);
    return 1;
}

KPXML_API int XML_AddTextLine(const char* line) {
    const CallLock lock;
    KpXmlData* node = currentNode();
    if (line == nullptr || node == nullptr) return 0;
    node->setData(withLine(node->getData(), line));
    return 1;
}

KPXML_API int XML_AddAttributeTextLine(const char* name, const char* line) {
    const CallLock lock;
    KpXmlData* node = currentNode();
    if (name == nullptr || line == nullptr || node == nullptr) return 0;
    node->setAttribute(name, withLine(node->getAttributeString(name), line), true);
    return 1;
}

// ---- Elements by handle ----------------------------------------------------------------------

KPXML_API int XML_Get_Int(int tag) {
    const CallLock lock;
    const KpXmlData* node = element(tag);
    return node != nullptr ? KpXml::detail::atoi(node->getData()) : 0;
}

KPXML_API double XML_Get_Real(int tag) {
    const CallLock lock;
    const KpXmlData* node = element(tag);
    return node != nullptr ? KpXml::detail::atof(node->getData()) : 0.0;
}

KPXML_API int XML_Get_Text(int tag, char* buffer, size_t bufferSize, int* length) {
    const CallLock lock;
    const KpXmlData* node = element(tag);
    if (node == nullptr) return 0;
    KpXml::detail::capi::copyBounded(buffer, bufferSize, node->getData().c_str());
    if (length != nullptr) *length = KpXml::detail::capi::lengthInBuffer(buffer, bufferSize);
    return 1;
}

KPXML_API void XML_Set_Int(int tag, int value) {
    const CallLock lock;
    if (KpXmlData* node = element(tag)) node->setData(value);
}

KPXML_API void XML_Set_Real(int tag, double value) {
    const CallLock lock;
    if (KpXmlData* node = element(tag)) node->setData(value);
}

KPXML_API void XML_Set_Real_Format(int tag, double value, const char* format) {
    const CallLock lock;
    // A null format raises the invalid-parameter handler and stores the empty text.
    if (KpXmlData* node = element(tag)) node->setData(value, format);
}

KPXML_API void XML_Set_Text(int tag, const char* text) {
    const CallLock lock;
    KpXmlData* node = element(tag);
    if (node != nullptr && text != nullptr) node->setData(std::string(text));
}

KPXML_API void XML_Get_Attribute(int tag, const char* name, char* buffer, size_t bufferSize, int* length) {
    const CallLock lock;
    if (buffer != nullptr && bufferSize != 0) buffer[0] = '\0';
    if (length != nullptr) *length = 0;
    if (name == nullptr || buffer == nullptr) return;
    const KpXmlAttributeData* attribute = attributeOf(element(tag), name);
    if (attribute == nullptr) return;
    KpXml::detail::capi::copyBounded(buffer, bufferSize, attribute->getChar());
    if (length != nullptr) *length = KpXml::detail::capi::lengthInBuffer(buffer, bufferSize);
}

KPXML_API int XML_Get_Attribute_Int(int tag, const char* name) {
    const CallLock lock;
    if (name == nullptr) return 0;
    const KpXmlAttributeData* attribute = attributeOf(element(tag), name);
    return attribute != nullptr ? attribute->getInteger() : 0;
}

KPXML_API double XML_Get_Attribute_Real(int tag, const char* name) {
    const CallLock lock;
    if (name == nullptr) return 0.0;
    const KpXmlAttributeData* attribute = attributeOf(element(tag), name);
    return attribute != nullptr ? attribute->getDouble() : 0.0;
}

KPXML_API void XML_Set_Attribute(int tag, const char* name, const char* text) {
    const CallLock lock;
    KpXmlData* node = element(tag);
    if (node != nullptr && name != nullptr && text != nullptr) node->setAttribute(name, std::string(text), true);
}

KPXML_API void XML_Set_Attribute_Int(int tag, const char* name, int value) {
    const CallLock lock;
    KpXmlData* node = element(tag);
    if (node != nullptr && name != nullptr) node->setAttribute(name, value, true);
}

KPXML_API void XML_Set_Attribute_Real(int tag, const char* name, double value) {
    const CallLock lock;
    KpXmlData* node = element(tag);
    if (node != nullptr && name != nullptr) node->setAttribute(name, value);
}

KPXML_API void XML_Set_Attribute_Real_Format(int tag, const char* name, double value, const char* format) {
    const CallLock lock;
    // A null format raises the invalid-parameter handler and stores the empty text.
    KpXmlData* node = element(tag);
    if (node != nullptr && name != nullptr) node->setAttribute(name, value, format);
}

KPXML_API void XML_Add_Text_Line(int tag, const char* line) {
    const CallLock lock;
    KpXmlData* node = element(tag);
    if (node != nullptr && line != nullptr) node->setData(withLine(node->getData(), line));
}

KPXML_API void XML_Add_Attribute_Textline(int tag, const char* name, const char* line) {
    const CallLock lock;
    KpXmlData* node = element(tag);
    if (node != nullptr && name != nullptr && line != nullptr) {
        node->setAttribute(name, withLine(node->getAttributeString(name), line), true);
    }
}

}  // extern "C"
