#include "kpxml/KpXmlTree.h"

#include <iterator>
#include <memory>

#include "fileio/KpOFStream.h"
#include "xml/Escaper.h"

KpXmlTree::KpXmlTree()
    : root(nullptr),
      currentNode(nullptr),
      // Both maps left empty: an empty map stands for the one every document starts with, which
      // nothing can change, so that a document does not build a copy of it.
      escapeMap(),
      entityMap(),
      separators(" \t") {}

KpXmlTree::KpXmlTree(const std::string& name) : KpXmlTree() {
    root = new KpXmlData(name);
}

KpXmlTree::KpXmlTree(std::istream& in) : KpXmlTree() {
    // The delegated constructor has completed, so a throw from the parse runs the destructor.
    buildOfStream(in);
}

KpXmlTree::KpXmlTree(const KpXmlTree& other) = default;

KpXmlTree& KpXmlTree::operator=(const KpXmlTree& other) {
    root = other.root;
    currentNode = other.currentNode;
    if (this != &other) {
        escapeMap = other.escapeMap;
        entityMap = other.entityMap;
        separators = other.separators;
        indent = other.indent;
    }
    return *this;
}

KpXmlTree::~KpXmlTree() {
    delete root;
}

std::string KpXmlTree::getName() const {
    return root != nullptr ? root->getName() : std::string();
}

void KpXmlTree::setName(const std::string& name) {
    if (root != nullptr) root->setName(name);
}

KpXmlData* KpXmlTree::findRoot(const std::string& name, bool deep) const {
    return root != nullptr ? root->findTree(name, deep) : nullptr;
}

KpXmlData* KpXmlTree::open(const std::string& name, bool always) {
    if (currentNode == nullptr) {
        currentNode = root;
        if (root == nullptr) {
            root = new KpXmlData(name);
            currentNode = root;
            return root;
        }
        if (root->getName() == name) return root;
    }
    currentNode = currentNode->openChild(name, always);
    return currentNode;
}

void KpXmlTree::close() {
    currentNode = currentNode == nullptr ? root : currentNode->getParent();
}

KpXmlAttributeData* KpXmlTree::findAttribute(const std::string& name) {
    return currentNode != nullptr ? currentNode->findAttribute(name) : nullptr;
}

void KpXmlTree::setAttribute(const std::string& name, double value) {
    if (currentNode != nullptr) currentNode->setAttribute(name, value);
}

void KpXmlTree::setAttribute(const std::string& name, double value, const char* format) {
    if (currentNode != nullptr) currentNode->setAttribute(name, value, format);
}

void KpXmlTree::setValue(double value, const char* format) {
    if (currentNode != nullptr) currentNode->setData(value, format);
}

void KpXmlTree::remove(const std::string& name) {
    if (currentNode != nullptr) currentNode->remove(name);
}

void KpXmlTree::flush() {
    if (currentNode != nullptr) currentNode->flush();
}

void KpXmlTree::flushRoot() {
    if (root != nullptr) root->flush();
}

bool KpXmlTree::readFile(const std::string& path) {
    std::error_code ignored;
    return readFile(path, ignored);
}

bool KpXmlTree::readFile(const std::string& path, std::error_code& error) {
    const std::unique_ptr<std::istream> in = openIFStream(path.c_str(), error);
    if (!in->good()) return false;
    buildOfStream(*in);
    return true;
}

bool KpXmlTree::readText(const std::string& path, std::string& text, std::error_code& error) {
    text.clear();
    const std::unique_ptr<std::istream> in = openIFStream(path.c_str(), error);
    if (!in->good()) return false;
    text.assign(std::istreambuf_iterator<char>(*in), std::istreambuf_iterator<char>());
    return true;
}
