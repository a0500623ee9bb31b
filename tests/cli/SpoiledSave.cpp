// For testing the tool's read-back: this build of the tool adds a second element to every file
// right after saving it, as a disk or another program might change it, so that the file no
// longer reads as the tree that was written.
#include <fstream>

#include "Rewrite.h"

namespace kpxmlcli {

void fileSaved(const std::string& path) {
    std::ofstream(path, std::ios::app) << "<added/>\n";
}

}  // namespace kpxmlcli
