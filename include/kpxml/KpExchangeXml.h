#ifndef KPXML_KPEXCHANGEXML_H
#define KPXML_KPEXCHANGEXML_H

#include <string>

#include "kpxml/KpXmlExport.h"
#include "kpxml/KpXmlTree.h"

// A thin owner of one document, meant as a base for classes that read or write exchange files.
// Every operation does nothing while no document is held.
class KPXML_API KpExchangeXml {
public:
    // Holds no document.
    KpExchangeXml();
    // Holds a new document whose root has the given name; none when the name is empty.
    explicit KpExchangeXml(const std::string& rootName);
    // Copies the document pointer only: both objects then hold, and will destroy, the same
    // document, so a derived class must clear one of them (setTree(nullptr)) first.
    KpExchangeXml(const KpExchangeXml& other) = default;
    KpExchangeXml& operator=(const KpExchangeXml& other) = default;
    // Destroys the held document.
    ~KpExchangeXml();

    // The document's open(name, false): selects or creates the element and makes it current.
    void open(const std::string& name);
    // The document's close(): moves the current node up one level.
    void close();
    // The document's flush(): deletes the attributes and children of the current node.
    void flush();

protected:
    // The held document, or null.
    KpXmlTree* getTree() const { return tree; }
    // Holds tree from now on (destroying it later); the previous document is not destroyed.
    void setTree(KpXmlTree* newTree) { tree = newTree; }

private:
    KpXmlTree* tree;
};

#endif
