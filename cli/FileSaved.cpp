// The tool's own reaction to a saved file: none.
#include "Rewrite.h"

namespace kpxmlcli {

void fileSaved(const std::string&) {}

}  // namespace kpxmlcli
