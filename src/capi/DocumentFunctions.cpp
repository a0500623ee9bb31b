// The C functions for documents: the global document of the run-together family, the documents
// of the handle family, and reading and writing files.
#include <memory>

#include "capi/Registries.h"
#include "kpxml/KpXmlApi.h"
#include "kpxml/KpXmlExport.h"

using KpXml::detail::capi::CallLock;
using KpXml::detail::capi::state;

extern "C" {

KPXML_API int XML_Open(const char* tagName) {
    const CallLock lock;
    if (tagName == nullptr) return 0;
    std::unique_ptr<KpXmlTree>& document = state().globalDocument;
    if (!document) document = std::make_unique<KpXmlTree>();
    document->open(tagName, true);
    return 1;
}

KPXML_API int XML_Close(void) {
    const CallLock lock;
    KpXmlTree* document = state().globalDocument.get();
    if (document == nullptr) return 0;
    document->close();
    return 1;
}

KPXML_API int XML_Stop(void) {
    const CallLock lock;
    std::unique_ptr<KpXmlTree> document = std::move(state().globalDocument);
    return 1;
}

KPXML_API int XML_ReadFile(const char* path) {
    const CallLock lock;
    if (path == nullptr) return 0;
    // The old document goes before the file is looked at: a failed read leaves an empty one.
    state().globalDocument = std::make_unique<KpXmlTree>();
    return state().globalDocument->readFile(path) ? 1 : 0;
}

KPXML_API int XML_WriteFile(const char* path) {
    const CallLock lock;
    const KpXmlTree* document = state().globalDocument.get();
    if (document == nullptr || path == nullptr) return 0;
    return document->writeFile(path, true) ? 1 : 0;
}

KPXML_API int XML_Get_Tree(const char* name) {
    const CallLock lock;
    return state().trees.handleOf(name != nullptr ? name : "");
}

KPXML_API void XML_Read_Tree(int tree, const char* path) {
    const CallLock lock;
    KpXmlTree* document = state().trees.find(tree);
    if (document != nullptr && path != nullptr) document->readFile(path);
}

KPXML_API void XML_Write_Tree(int tree, const char* path) {
    const CallLock lock;
    const KpXmlTree* document = state().trees.find(tree);
    if (document != nullptr && path != nullptr) document->writeFile(path, true);
}

KPXML_API void XML_Delete_Tree(int tree) {
    const CallLock lock;
    state().trees.remove(tree);
}

}  // extern "C"
