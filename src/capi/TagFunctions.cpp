// The C functions that create, find, list, name and delete elements by handle.
#include <algorithm>
#include <string>

#include "capi/BoundedCopy.h"
#include "capi/Registries.h"
#include "kpxml/KpXmlApi.h"
#include "kpxml/KpXmlExport.h"

using KpXml::detail::capi::CallLock;
using KpXml::detail::capi::element;
using KpXml::detail::capi::state;

namespace {

// The handle of a node found by a search, or -1 when nothing was found.
int handleOfFound(KpXmlData* found) {
    return state().tags.handleOf(found);
}

}  // namespace

extern "C" {

KPXML_API int XML_Create_Root_Tag(int tree, const char* name) {
    const CallLock lock;
    KpXmlTree* document = state().trees.find(tree);
    if (document == nullptr || name == nullptr) return -1;
    auto* root = new KpXmlData(name);
    document->setRoot(root);  // the previous root stays alive: handles into it keep working
    return state().tags.add(root);
}

KPXML_API int XML_Get_Root_Tag(int tree) {
    const CallLock lock;
    const KpXmlTree* document = state().trees.find(tree);
    if (document == nullptr) return -1;
    return handleOfFound(document->getRoot());
}

KPXML_API int XML_Add_Child_Tag(int parent, const char* name) {
    const CallLock lock;
    KpXmlData* node = element(parent);
    if (node == nullptr || name == nullptr) return -1;
    return state().tags.add(node->createChild(name));
}

KPXML_API int XML_Find_Child_Tag(int parent, const char* name) {
    const CallLock lock;
    const KpXmlData* node = element(parent);
    if (node == nullptr || name == nullptr) return -1;
    return handleOfFound(state().childNames.findChild(*node, name));
}

KPXML_API int XML_Find_Child_To_Attribute(int parent, const char* childName, const char* attrName,
                                          const char* attrValue) {
    const CallLock lock;
    const KpXmlData* node = element(parent);
    if (node == nullptr || childName == nullptr || attrName == nullptr || attrValue == nullptr) return -1;
    return handleOfFound(node->findChildToAttribute(childName, attrName, std::string(attrValue)));
}

KPXML_API int XML_Find_Child_To_Int_Attribute(int parent, const char* childName, const char* attrName, int value) {
    const CallLock lock;
    const KpXmlData* node = element(parent);
    if (node == nullptr || childName == nullptr || attrName == nullptr) return -1;
    return handleOfFound(node->findChildToAttribute(childName, attrName, value));
}

KPXML_API int XML_Find_Child_To_Real_Attribute(int parent, const char* childName, const char* attrName, double value,
                                               double tolerance) {
    const CallLock lock;
    const KpXmlData* node = element(parent);
    if (node == nullptr || childName == nullptr || attrName == nullptr) return -1;
    return handleOfFound(node->findChildToAttribute(childName, attrName, value, tolerance));
}

KPXML_API void XML_Delete_Child_Tag(int parent, const char* name) {
    const CallLock lock;
    KpXmlData* node = element(parent);
    if (node == nullptr || name == nullptr) return;
    node->remove(name);  // the handles of the child and its subtree become unknown as they are destroyed
}

KPXML_API void XML_Get_Children(int parent, int* handles, int capacity) {
    const CallLock lock;
    if (handles == nullptr || capacity <= 0) return;
    std::fill(handles, handles + capacity, 0);
    const KpXmlData* node = element(parent);
    if (node == nullptr) return;
    const std::vector<KpXmlData*>& children = node->getChildren();
    const std::size_t count = std::min(static_cast<std::size_t>(capacity), children.size());
    for (std::size_t i = 0; i < count; ++i) handles[i] = handleOfFound(children[i]);
}

KPXML_API int XML_Get_Number_Of_Children(int parent) {
    const CallLock lock;
    const KpXmlData* node = element(parent);
    return node != nullptr ? static_cast<int>(node->getChildren().size()) : 0;
}

KPXML_API void XML_Get_Tag_Name(int tag, char* buffer, size_t bufferSize, int* length) {
    const CallLock lock;
    const KpXmlData* node = element(tag);
    KpXml::detail::capi::copyBounded(buffer, bufferSize, node != nullptr ? node->getName().c_str() : "");
    if (length != nullptr) *length = KpXml::detail::capi::lengthInBuffer(buffer, bufferSize);
}

}  // extern "C"
