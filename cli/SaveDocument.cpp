#include "SaveDocument.h"

#include <iostream>
#include <system_error>

#include <kpxml/KpXmlTree.h>

namespace kpxmlcli {

bool saveDocument(const KpXmlTree& document, const std::string& path, bool declaration) {
    std::error_code error;
    if (document.writeFile(path, declaration, error)) return true;
    std::cerr << "kpxml: " << path << ": not saved: " << error.message() << "\n";
    return false;
}

}  // namespace kpxmlcli
