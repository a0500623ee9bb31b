// Writing a whole document to a file through the safe file output.
#include "fileio/KpOFStream.h"
#include "kpxml/KpXmlTree.h"

// Document files are written in text mode: every line feed is stored as carriage return plus
// line feed.
int KpXmlTree::getOFStreamOpenMode() {
    return KpOFStream::modeOut;
}

bool KpXmlTree::writeFile(const std::string& path, bool declaration) const {
    std::error_code ignored;
    return writeFile(path, declaration, ignored);
}

bool KpXmlTree::writeFile(const std::string& path, bool declaration, std::error_code& error) const {
    KpOFStream file(path.c_str(), getOFStreamOpenMode());
    std::ostream* out = file.getStream();
    if (out == nullptr) {
        error = file.getError();
        return false;
    }
    putToStream(*out, declaration);
    const bool saved = file.commit();
    error = saved ? std::error_code() : file.getError();
    return saved;
}
