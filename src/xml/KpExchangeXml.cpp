#include "kpxml/KpExchangeXml.h"

KpExchangeXml::KpExchangeXml() : tree(nullptr) {}

KpExchangeXml::KpExchangeXml(const std::string& rootName)
    : tree(rootName.empty() ? nullptr : new KpXmlTree(rootName)) {}

KpExchangeXml::~KpExchangeXml() {
    delete tree;
    tree = nullptr;
}

void KpExchangeXml::open(const std::string& name) {
    if (tree != nullptr) tree->open(name, false);
}

void KpExchangeXml::close() {
    if (tree != nullptr) tree->close();
}

void KpExchangeXml::flush() {
    if (tree != nullptr) tree->flush();
}
