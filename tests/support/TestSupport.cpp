// The helpers of TestSupport.h that are the same on every platform.

#include "TestSupport.h"

#include <filesystem>
#include <fstream>

namespace KpXml::test {

std::string readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    if (in.peek() != std::ifstream::traits_type::eof()) bytes << in.rdbuf();  // an empty file sets failbit
    return bytes.str();
}

void writeBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string temporaryPath(const std::string& name) {
    const std::string unique = "kpxml_" + std::to_string(processId()) + "_" + name;
    return (std::filesystem::temp_directory_path() / unique).string();
}

std::string shown(const std::string& text) {
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7f) {
            out += c == '"' || c == '\\' ? std::string{'\\', c} : std::string(1, c);
        } else {
            out += {'\\', 'x', "0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
        }
    }
    return out;
}

std::string quoted(const std::string& text) { return '"' + shown(text) + '"'; }

ChildProcess::~ChildProcess() {
    kill();
    wait();
}

}  // namespace KpXml::test
