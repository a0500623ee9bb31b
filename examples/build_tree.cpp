// Builds a small tree with the node model and prints what it reads back; then reads a document
// from a stream, edits it and writes it.
#include <iostream>
#include <set>
#include <sstream>

#include <kpxml/KpXml.h>

int main() {
    KpXmlData project("project");
    project.setAttribute("name", std::string("bridge"));
    project.setAttribute("version", 3);

    KpXmlData* origin = project.createChild("origin");
    KpXmlDataUtil::setChildData(origin, "X", 12.5);
    KpXmlDataUtil::setChildData(origin, "Y", -3.0);
    KpXmlDataUtil::setChildData(origin, "Z", 0.1, "%.3f");

    KpXmlData* loads = project.createChild("loads");
    KpXmlDataUtil::openToAttribute(loads, "case", "id", 1)->setData(250.0);
    KpXmlDataUtil::openToAttribute(loads, "case", "id", 2)->setData(" wind ");
    loads->writeIntSet({7, 3, 5});

    std::cout << "project " << project.getAttributeString("name") << " version "
              << project.getAttributeInt("version") << "\n";

    double x = 0, y = 0, z = 0;
    KpXmlDataUtil::getVector(project.findChild("origin"), x, y, z);
    std::cout << "origin " << x << " " << y << " " << z << " (Z stored as \""
              << origin->getChildString("Z") << "\")\n";

    for (const KpXmlData* loadCase : loads->getChildren()) {
        std::cout << "case id=" << loadCase->getAttributeInt("id") << " text=\"" << loadCase->getData() << "\"\n";
    }

    std::set<int> ids;
    loads->readIntSet(ids);
    std::cout << "integer set:";
    for (int id : ids) std::cout << " " << id;
    std::cout << "\n";

    const KpXmlData* found = project.findTree("case", true);
    std::cout << "first case found by search: id " << (found ? found->getAttributeInt("id") : -1) << "\n";
    std::cout << "missing attribute reads as " << project.getAttributeInt("missing") << "\n";

    // Documents are read from and written to any stream.
    std::istringstream in("<?xml version=\"1.0\"?><doc version=\"2\"><a>x&lt;y</a><b/></doc>");
    KpXmlTree document(in);                 // parses; malformed markup is never rejected
    document.setIndent("  ");
    document.open("doc", false);            // selects the root
    document.open("c", false);              // creates child <c> and makes it current
    document.setValue(2.5, "%.2f");         // <c>2.50</c>
    document.putToStream(std::cout, true);  // declaration line, then one element per line
    return 0;
}
