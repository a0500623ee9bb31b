// A program that saves documents through the C interface, for tests that run savers as separate
// processes and kill them: saver <target> <documents> <saves> <kilobytes>
// documents is a sequence of letters, each naming a document of about kilobytes KiB; the saves
// take them in turn. saves 0 means saving until killed. Exits with 0 after the last save.
#include <cstdlib>
#include <string>
#include <vector>

#include <kpxml/KpXmlApi.h>

namespace {

// A document of about kilobytes KiB whose every line depends on letter: one element per KiB, so
// that building it costs little beside saving it.
int makeDocument(char letter, long kilobytes) {
    const int tree = XML_Get_Tree(std::string(1, letter).c_str());
    const int root = XML_Create_Root_Tag(tree, "saved");
    XML_Set_Attribute(root, "document", std::string(1, letter).c_str());
    const std::string text(1000, letter);
    for (long line = 0; line < kilobytes; ++line) {
        const int item = XML_Add_Child_Tag(root, "item");
        XML_Set_Attribute(item, "n", std::to_string(line).c_str());
        XML_Set_Text(item, (text + std::to_string(line)).c_str());
    }
    return tree;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5 || argv[2][0] == '\0') return 2;
    const std::string target = argv[1];
    const std::string letters = argv[2];
    const long saves = std::atol(argv[3]);
    const long kilobytes = std::atol(argv[4]);
    std::vector<int> trees;
    for (const char letter : letters) trees.push_back(makeDocument(letter, kilobytes));
    for (long save = 0; saves == 0 || save < saves; ++save) {
        XML_Write_Tree(trees[static_cast<std::size_t>(save) % trees.size()], target.c_str());
    }
    return 0;
}
