// libFuzzer target: the input is decoded into a sequence of calls of the C interface, with tree
// and tag handles from a small pool (handles this input was given, handles of deleted nodes and
// trees, handles of earlier inputs and ones never handed out), null strings, null, empty and tiny
// buffers, real formats of every kind, and saves and reads of files in a private directory. The
// invalid-parameter handler returns, so every call goes on past a buffer that does not fit.
// Besides "no crash, no leak, no sanitizer report" it checks what every call must hold whatever
// the input: handles are -1 or positive, copies are terminated and never truncated, a handle
// that was never valid answers as unknown, and a read-only target keeps its content.
//
// Every input starts from the same state: it deletes the documents it registered and the global
// document, and the files it wrote.
#include <fuzzer/FuzzedDataProvider.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "kpxml/KpXmlApi.h"
#include "support/TestSupport.h"

namespace fs = std::filesystem;

namespace {

void expect(bool condition) {
    if (!condition) __builtin_trap();
}

const char readOnlyContent[] = "<kept/>\n";

// The private directory: targets for saves (plain files, a read-only file, a directory, a path
// in a missing directory) and, as the temporary directory, its own "tmp" folder.
struct Directory {
    fs::path root;
    std::vector<std::string> targets;

    Directory() {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/kpxml_capi_fuzz.XXXXXX";
        expect(mkdtemp(pattern.data()) != nullptr);
        root = pattern;
        fs::create_directory(root / "tmp");
        fs::create_directory(root / "dir");
        KpXml::test::writeBytes((root / "readonly.xml").string(), readOnlyContent);
        expect(KpXml::test::setReadOnly((root / "readonly.xml").string(), true));
        KpXml::test::redirectTemporaryDirectory((root / "tmp").string() + "/");
        for (const char* name : {"a.xml", "b.xml", "readonly.xml", "dir", "missing/c.xml"}) {
            targets.push_back((root / name).string());
        }
        targets.emplace_back("");
    }
    ~Directory() {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    }

    // Removes what the input wrote; checks that the read-only target and the directory are intact.
    void clean() const {
        for (const fs::directory_entry& entry : fs::directory_iterator(root)) {
            const std::string name = entry.path().filename().string();
            if (name != "tmp" && name != "dir" && name != "readonly.xml") fs::remove_all(entry.path());
        }
        for (const fs::directory_entry& entry : fs::directory_iterator(root / "tmp")) fs::remove_all(entry.path());
        expect(KpXml::test::readBytes((root / "readonly.xml").string()) == readOnlyContent);
        expect(fs::is_directory(root / "dir") && fs::is_empty(root / "dir"));
    }
};

const Directory& directory() {
    static const Directory instance;
    return instance;
}

const char* const realFormats[] = {"%g",  "%.3f", "%e",  "%a",     "%-+ #012.5G", "%Lg", "x%gy%%", "%s",  "%n",
                                "%*g", "%d",   "%g%g", "%1100f", "%.1100f",     "%",   "%lf",    "%hhg", ""};

// Decodes calls from the input and keeps what the input was given back.
class Session {
public:
    explicit Session(FuzzedDataProvider& input) : in(input) {}

    ~Session() {
        for (const int tree : liveTrees) XML_Delete_Tree(tree);
        XML_Stop();
    }

    void run();

private:
    const char* string(std::string& storage) {
        switch (in.ConsumeIntegralInRange(0, 7)) {
            case 0: return nullptr;
            case 1: return "";
            case 2: return "a";
            case 3: return "b";
            case 4: return "a b";
            default: storage = in.ConsumeRandomLengthString(300); return storage.c_str();
        }
    }
    const char* format(std::string& storage) {
        const std::size_t choice = in.ConsumeIntegralInRange<std::size_t>(0, std::size(realFormats) + 1);
        if (choice < std::size(realFormats)) return realFormats[choice];
        return choice == std::size(realFormats) ? nullptr : string(storage);
    }
    const char* path() {
        const std::vector<std::string>& targets = directory().targets;
        const std::size_t choice = in.ConsumeIntegralInRange<std::size_t>(0, targets.size());
        return choice < targets.size() ? targets[choice].c_str() : nullptr;
    }
    double real() {
        switch (in.ConsumeIntegralInRange(0, 2)) {
            case 0: {
                const auto bits = in.ConsumeIntegral<std::uint64_t>();
                double value;
                std::memcpy(&value, &bits, sizeof value);
                return value;
            }
            case 1: return in.ConsumeIntegralInRange(-3, 3) * 0.5;
            default: return in.ConsumeFloatingPoint<double>();
        }
    }
    int integer() { return in.ConsumeBool() ? in.ConsumeIntegralInRange(-2, 2) : in.ConsumeIntegral<int>(); }

    // A tree handle; unknown says whether it was never valid.
    int tree(bool& unknown) {
        const std::size_t choice = in.ConsumeIntegralInRange<std::size_t>(0, trees.size() + 2);
        unknown = choice >= trees.size();
        if (!unknown) return trees[choice];
        return choice == trees.size() ? 0 : -1;
    }
    int tree() {
        bool unknown;
        return tree(unknown);
    }
    // A tag handle; unknown says whether it was never valid.
    int tag(bool& unknown) {
        unknown = false;
        const std::size_t choice = in.ConsumeIntegralInRange<std::size_t>(0, tags.size() + 5);
        if (choice < tags.size()) return tags[choice];
        switch (choice - tags.size()) {
            case 0: return previousTag;  // dead, or of a document left alive by a takeover
            case 1: return lastTag + 1;  // not handed out yet (unless a call the input made gave it out unseen)
            case 2: unknown = true; return 0;
            case 3: unknown = true; return -1;
            case 4: unknown = true; return INT_MIN;
            default: unknown = true; return INT_MAX;
        }
    }
    int tag() {
        bool unknown;
        return tag(unknown);
    }
    // Checks a handle the library gave back and adds it to the pool.
    int keep(int handle) {
        expect(handle == -1 || handle > 0);
        if (handle > 0) {
            if (handle > lastTag) lastTag = handle;
            if (tags.size() < 64) tags.push_back(handle);
        }
        return handle;
    }

    void call();
    void callTag(int op);
    void callGlobal(int op);

    FuzzedDataProvider& in;
    std::vector<int> trees;
    std::set<int> liveTrees;
    std::vector<int> tags;

    static int previousTag;  // a handle an earlier input was given
    static int lastTag;      // the highest handle seen so far
};

int Session::previousTag = 0;
int Session::lastTag = 0;

// A caller's buffer of exactly size bytes (so that a write past it is caught), or null.
class Buffer {
public:
    explicit Buffer(FuzzedDataProvider& in) {
        switch (in.ConsumeIntegralInRange(0, 4)) {
            case 0: size = in.ConsumeIntegralInRange<std::size_t>(0, 16); return;  // null
            case 1: size = 0; break;
            case 2: size = 1; break;
            case 3: size = in.ConsumeIntegralInRange<std::size_t>(2, 16); break;
            default: size = 512; break;
        }
        data = static_cast<char*>(std::malloc(size > 0 ? size : 1));
        std::memset(data, 'X', size > 0 ? size : 1);
    }
    ~Buffer() { std::free(data); }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    bool usable() const { return data != nullptr && size > 0; }
    // After a copy into a usable buffer: terminated inside it, and empty when the handler was called.
    void expectCopied(int callsBefore) const {
        if (!usable()) return;
        expect(std::memchr(data, '\0', size) != nullptr);
        if (KpXml::test::invalidParameterCalls != callsBefore) expect(data[0] == '\0');
    }

    char* data = nullptr;
    std::size_t size = 0;
};

void Session::run() {
    for (int calls = 0; calls < 200 && in.remaining_bytes() > 0; ++calls) call();
    if (!tags.empty()) previousTag = tags.front();
}

void Session::call() {
    const int op = in.ConsumeIntegralInRange(0, 53);
    if (op < 21) return callGlobal(op);
    if (op < 48) return callTag(op - 21);
    std::string name;
    switch (op) {
        case 48: {
            // Registering a new document may take over the entry of a live handle; its root is
            // then left alive, so it is given a handle first (else it would be unreachable).
            const int next = static_cast<int>(liveTrees.size()) + 1;
            if (liveTrees.count(next) != 0) keep(XML_Get_Root_Tag(next));
            const char* const treeName = string(name);
            const int handle = XML_Get_Tree(treeName);
            expect(handle > 0 && XML_Get_Tree(treeName) == handle);
            liveTrees.insert(handle);
            if (trees.size() < 16) trees.push_back(handle);
            break;
        }
        case 49: XML_Read_Tree(tree(), path()); break;
        case 50: XML_Write_Tree(tree(), path()); break;
        case 51: {
            const int handle = tree();
            XML_Delete_Tree(handle);
            liveTrees.erase(handle);
            break;
        }
        case 52: {
            // Many children of few names: large parents are searched through an index.
            const int parent = tag();
            const int count = in.ConsumeIntegralInRange(1, 100);
            for (int i = 0; i < count; ++i) keep(XML_Add_Child_Tag(parent, i % 3 == 0 ? "a" : i % 3 == 1 ? "b" : "c"));
            keep(XML_Find_Child_Tag(parent, "c"));
            break;
        }
        default: {
            // The handler goes back to the default (which aborts) and returns at once.
            const KpXmlInvalidParameterHandler previous = KpXml_SetInvalidParameterHandler(nullptr);
            expect(previous == &KpXml::test::countInvalidParameter);
            const KpXmlInvalidParameterHandler standard = KpXml_SetInvalidParameterHandler(&KpXml::test::countInvalidParameter);
            expect(standard != nullptr && standard != &KpXml::test::countInvalidParameter);
            break;
        }
    }
}

void Session::callGlobal(int op) {
    std::string first, second;
    int number = 0;
    double value = 0.0;
    int length = -7;
    switch (op) {
        case 0: XML_Open(string(first)); break;
        case 1: XML_Close(); break;
        case 2: expect(XML_Stop() == 1); break;
        case 3: XML_ReadFile(path()); break;
        case 4: XML_WriteFile(path()); break;
        case 5: XML_GetInt(in.ConsumeBool() ? &number : nullptr); break;
        case 6: XML_GetReal(in.ConsumeBool() ? &value : nullptr); break;
        case 7:
        case 8: {
            const Buffer buffer(in);
            const int calls = KpXml::test::invalidParameterCalls;
            const int result = op == 7 ? XML_GetText(buffer.data, buffer.size, in.ConsumeBool() ? &length : nullptr)
                                       : XML_GetAttributeText(string(first), buffer.data, buffer.size,
                                                              in.ConsumeBool() ? &length : nullptr);
            if (result == 1) buffer.expectCopied(calls);
            break;
        }
        case 9: XML_SetInt(integer()); break;
        case 10: XML_SetReal(real()); break;
        case 11: XML_SetRealFormat(real(), format(first)); break;
        case 12: XML_SetText(string(first)); break;
        case 13: XML_GetAttributeInt(string(first), in.ConsumeBool() ? &number : nullptr); break;
        case 14: XML_GetAttributeReal(string(first), in.ConsumeBool() ? &value : nullptr); break;
        case 15: XML_SetAttributeInt(string(first), integer()); break;
        case 16: XML_SetAttributeReal(string(first), real()); break;
        case 17: XML_SetAttributeRealFormat(string(first), real(), format(second)); break;
        case 18: XML_SetAttributeText(string(first), string(second)); break;
        case 19: XML_AddTextLine(string(first)); break;
        default: XML_AddAttributeTextLine(string(first), string(second)); break;
    }
}

void Session::callTag(int op) {
    std::string first, second, third;
    bool unknown = false;
    const int handle = tag(unknown);
    switch (op) {
        case 0:
        case 1: {
            bool unknownTree = false;
            const int document = tree(unknownTree);
            const int root = keep(op == 0 ? XML_Create_Root_Tag(document, string(first)) : XML_Get_Root_Tag(document));
            if (unknownTree) expect(root == -1);
            break;
        }
        case 2:
        case 3:
        case 4:
        case 5:
        case 6: {
            const int found =
                op == 2   ? XML_Add_Child_Tag(handle, string(first))
                : op == 3 ? XML_Find_Child_Tag(handle, string(first))
                : op == 4 ? XML_Find_Child_To_Attribute(handle, string(first), string(second), string(third))
                : op == 5 ? XML_Find_Child_To_Int_Attribute(handle, string(first), string(second), integer())
                          : XML_Find_Child_To_Real_Attribute(handle, string(first), string(second), real(), real());
            if (unknown) expect(found == -1);
            keep(found);
            break;
        }
        case 7: {
            const char* name = string(first);
            // Finding the child first gives it a handle, which must answer as unknown afterwards.
            const int child = in.ConsumeBool() ? keep(XML_Find_Child_Tag(handle, name)) : -1;
            XML_Delete_Child_Tag(handle, name);
            if (child > 0) expect(XML_Get_Number_Of_Children(child) == 0 && XML_Add_Child_Tag(child, "x") == -1);
            break;
        }
        case 8: {
            const int capacity = in.ConsumeIntegralInRange(-2, 8);
            std::vector<int> handles(capacity > 0 ? static_cast<std::size_t>(capacity) : 0, 7);
            const bool none = in.ConsumeBool() && in.ConsumeBool();
            XML_Get_Children(handle, none || handles.empty() ? nullptr : handles.data(), capacity);
            if (none) break;
            const int count = XML_Get_Number_Of_Children(handle);
            for (int i = 0; i < capacity; ++i) {
                const int child = handles[static_cast<std::size_t>(i)];
                if (i >= count) expect(child == 0);
                else keep(child);
            }
            break;
        }
        case 9: expect(XML_Get_Number_Of_Children(handle) >= 0); break;
        case 10:
        case 11: {
            const Buffer buffer(in);
            int length = -7;
            int* lengthOut = in.ConsumeBool() ? &length : nullptr;
            const int calls = KpXml::test::invalidParameterCalls;
            const int result = op == 10 ? (XML_Get_Tag_Name(handle, buffer.data, buffer.size, lengthOut), 1)
                                        : XML_Get_Text(handle, buffer.data, buffer.size, lengthOut);
            if (unknown) expect(result == 0 || op == 10);
            if (result == 0) break;
            buffer.expectCopied(calls);
            if (buffer.usable()) {
                if (lengthOut != nullptr) expect(length == static_cast<int>(std::strlen(buffer.data)));
                if (unknown) expect(buffer.data[0] == '\0');
            }
            break;
        }
        case 12: {
            const int value = XML_Get_Int(handle);
            if (unknown) expect(value == 0);
            break;
        }
        case 13: {
            const double value = XML_Get_Real(handle);
            if (unknown) expect(value == 0.0);
            break;
        }
        case 14: XML_Set_Int(handle, integer()); break;
        case 15: XML_Set_Real(handle, real()); break;
        case 16: XML_Set_Real_Format(handle, real(), format(first)); break;
        case 17: XML_Set_Text(handle, string(first)); break;
        case 18: {
            const Buffer buffer(in);
            int length = -7;
            int* lengthOut = in.ConsumeBool() ? &length : nullptr;
            const int calls = KpXml::test::invalidParameterCalls;
            XML_Get_Attribute(handle, string(first), buffer.data, buffer.size, lengthOut);
            buffer.expectCopied(calls);
            if (buffer.usable() && lengthOut != nullptr) expect(length == static_cast<int>(std::strlen(buffer.data)));
            break;
        }
        case 19: {
            const int value = XML_Get_Attribute_Int(handle, string(first));
            if (unknown) expect(value == 0);
            break;
        }
        case 20: {
            const double value = XML_Get_Attribute_Real(handle, string(first));
            if (unknown) expect(value == 0.0);
            break;
        }
        case 21: XML_Set_Attribute(handle, string(first), string(second)); break;
        case 22: XML_Set_Attribute_Int(handle, string(first), integer()); break;
        case 23: XML_Set_Attribute_Real(handle, string(first), real()); break;
        case 24: XML_Set_Attribute_Real_Format(handle, string(first), real(), format(second)); break;
        case 25: XML_Add_Text_Line(handle, string(first)); break;
        default: XML_Add_Attribute_Textline(handle, string(first), string(second)); break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    directory();
    KpXml_SetInvalidParameterHandler(&KpXml::test::countInvalidParameter);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    {
        Session session(input);
        session.run();
    }
    directory().clean();
    return 0;
}
