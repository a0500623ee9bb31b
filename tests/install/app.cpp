// A program of another project that uses KpXml's classes: reads a document and prints what it holds.
#include <iostream>
#include <sstream>

#include <kpxml/KpXml.h>

int main() {
    std::istringstream in("<project version=\"3\"><origin><X>12.5</X></origin></project>");
    KpXmlTree document(in);
    const KpXmlData* project = document.getRoot();
    std::cout << project->getName() << " version " << project->getAttributeInt("version") << ", X "
              << project->findChild("origin")->getChildDouble("X") << "\n";
    return 0;
}
