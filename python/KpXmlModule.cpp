// The core of the kpxml Python module: documents and elements over KpXmlTree and KpXmlData, using
// the public headers only. The collection views (attributes, children) and the tree walk are in
// kpxml/__init__.py, built on the primitives here.
//
// Lifetimes: every Python element holds the document's state, so the tree outlives every element
// object. Each state keeps a registry of the nodes that have a Python element; removing a subtree
// or reading the document again marks those elements dead before any node is freed, and a dead
// element raises StaleElementError. Nodes are freed only here, so no element can reach freed memory.
// Python's lock is held throughout: no other thread uses a tree meanwhile.

#include <pybind11/pybind11.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unordered_map>
#include <vector>

#include <kpxml/KpXml.h>
#include <kpxml/KpXmlApi.h>

namespace py = pybind11;

namespace {

// --- Text ----------------------------------------------------------------------------------------

// The library's narrow text on Linux: Windows-1252 as Windows converts it, where the five bytes
// the code page leaves undefined stand for the characters U+0081, U+008D, U+008F, U+0090, U+009D.
// Every byte has a character, so bytes survive a round trip through str.
class CodePage {
public:
    // Takes the characters from Python's cp1252 codec; a byte it refuses stands for itself.
    void load() {
        for (unsigned byte = 0; byte < characters.size(); ++byte) {
            const char single = static_cast<char>(byte);
            PyObject* decoded = PyUnicode_Decode(&single, 1, "cp1252", "strict");
            if (decoded == nullptr) {
                PyErr_Clear();
                characters[byte] = byte;
            } else {
                characters[byte] = PyUnicode_ReadChar(decoded, 0);
                Py_DECREF(decoded);
            }
            bytes[characters[byte]] = single;
        }
    }

    py::str decode(const std::string& text) const {
        std::u32string wide(text.size(), U'\0');
        for (std::size_t i = 0; i < text.size(); ++i) wide[i] = characters[static_cast<unsigned char>(text[i])];
        return py::reinterpret_steal<py::str>(
            PyUnicode_FromKindAndData(PyUnicode_4BYTE_KIND, wide.data(), static_cast<Py_ssize_t>(wide.size())));
    }

    // Raises UnicodeEncodeError at the first character that has no byte.
    std::string encode(py::handle text) const {
        PyObject* object = text.ptr();
        const Py_ssize_t length = PyUnicode_GetLength(object);
        if (length < 0) throw py::error_already_set();
        std::string out(static_cast<std::size_t>(length), '\0');
        for (Py_ssize_t i = 0; i < length; ++i) {
            const Py_UCS4 character = PyUnicode_ReadChar(object, i);
            const auto found = bytes.find(character);
            if (found == bytes.end()) raiseUnencodable(object, i);
            out[static_cast<std::size_t>(i)] = found->second;
        }
        return out;
    }

private:
    [[noreturn]] static void raiseUnencodable(PyObject* text, Py_ssize_t at) {
        PyObject* error = PyObject_CallFunction(PyExc_UnicodeEncodeError, "sOnns", "cp1252", text, at, at + 1,
                                                "KpXml's text is Windows-1252, which has no byte for this character");
        if (error != nullptr) {
            PyErr_SetObject(PyExc_UnicodeEncodeError, error);
            Py_DECREF(error);
        }
        throw py::error_already_set();
    }

    std::array<char32_t, 256> characters{};
    std::unordered_map<char32_t, char> bytes;
};

CodePage codePage;

// A str (converted by the code page) or bytes (taken as they are); TypeError for anything else.
std::string narrow(py::handle value, const char* what) {
    if (PyBytes_Check(value.ptr())) return std::string(PyBytes_AS_STRING(value.ptr()), static_cast<std::size_t>(PyBytes_GET_SIZE(value.ptr())));
    if (PyUnicode_Check(value.ptr())) return codePage.encode(value);
    throw py::type_error(std::string(what) + " must be str or bytes, not " + py::str(value.get_type().attr("__name__")).cast<std::string>());
}

py::bytes asBytes(const std::string& text) { return py::bytes(text.data(), text.size()); }

// A file name as the system takes it (os.fsencode: the file system's encoding, not the text's).
std::string filePath(py::handle path) {
    const py::bytes encoded = py::module_::import("os").attr("fsencode")(path);
    std::string name = encoded;
    if (name.find('\0') != std::string::npos) throw py::value_error("embedded null byte in the file name");
    return name;
}

[[noreturn]] void raiseOSError(const std::error_code& error, py::handle path) {
    // OSError(errno, message, filename) gives the matching subclass, such as FileNotFoundError;
    // the library's own reasons ("read-only file") carry the errno value they stand for.
    PyObject* exception = PyObject_CallFunction(PyExc_OSError, "isO", error.default_error_condition().value(),
                                                error.message().c_str(), path.ptr());
    if (exception != nullptr) {
        PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(exception)), exception);
        Py_DECREF(exception);
    }
    throw py::error_already_set();
}

// --- Numbers -------------------------------------------------------------------------------------

thread_local bool formatRefused = false;
void noteRefusedFormat() { formatRefused = true; }

// value printed by the library with a printf format for one real. ValueError, changing nothing,
// for a format the library refuses (it would store the empty text).
std::string formatReal(double value, const std::string& format) {
    if (format.find('\0') != std::string::npos) throw py::value_error("embedded null byte in the format");
    KpXmlData scratch;
    formatRefused = false;
    const KpXmlInvalidParameterHandler previous = KpXml_SetInvalidParameterHandler(noteRefusedFormat);
    scratch.setData(value, format.c_str());
    KpXml_SetInvalidParameterHandler(previous);
    if (formatRefused) throw py::value_error("not a format for one real, or its text is too long: " + format);
    return scratch.getData();
}

// A value for an element's text or an attribute, converted from Python before any node is touched.
struct Value {
    enum class Kind { integer, real, text } kind = Kind::text;
    int integer = 0;
    double real = 0.0;
    std::string text;

    Value(py::handle value, py::handle format) {
        const bool formatted = !format.is_none();
        const bool isText = PyUnicode_Check(value.ptr()) || PyBytes_Check(value.ptr());
        if (!isText && PyIndex_Check(value.ptr())) {
            const py::object number = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
            if (!number) throw py::error_already_set();
            int overflow = 0;
            const long long wide = PyLong_AsLongLongAndOverflow(number.ptr(), &overflow);
            if (wide == -1 && PyErr_Occurred() != nullptr) throw py::error_already_set();
            if (overflow != 0 || wide < INT32_MIN || wide > INT32_MAX) {
                PyErr_SetString(PyExc_OverflowError, "the library stores integers of 32 bits; this one does not fit");
                throw py::error_already_set();
            }
            kind = Kind::integer;
            integer = static_cast<int>(wide);
            real = static_cast<double>(wide);
        } else if (PyFloat_Check(value.ptr())) {
            kind = Kind::real;
            real = value.cast<double>();
        } else if (isText) {
            if (formatted) throw py::type_error("a format is for numbers only");
            text = narrow(value, "the value");
            return;
        } else {
            throw py::type_error("a value must be int, float, str or bytes, not " +
                                 py::str(value.get_type().attr("__name__")).cast<std::string>());
        }
        if (formatted) {
            text = formatReal(real, narrow(format, "the format"));
            kind = Kind::text;
        }
    }
};

// --- Documents and elements ----------------------------------------------------------------------

struct StaleElement : std::runtime_error {
    using std::runtime_error::runtime_error;
};

const char* const removedReason = "this element was removed from its document";
const char* const rereadReason = "this element's document was read again; its elements are gone";

struct ElementRef;

// A tree with the Python elements that point into it.
struct DocumentState {
    KpXmlTree tree;
    // A new element not yet placed in a document: the tree holds it as its root until it moves.
    bool standalone = false;
    std::unordered_map<const KpXmlData*, ElementRef*> live;

    DocumentState() = default;
    explicit DocumentState(const std::string& rootName) : tree(rootName) {}

    // Marks every element of top's subtree dead (before the subtree is freed).
    void forgetSubtree(const KpXmlData* top);
    // Marks every element dead (before the tree is replaced).
    void forgetAll(const char* reason);
    // Hands the elements of top's subtree over to the state the subtree has moved to.
    void moveSubtree(const KpXmlData* top, const std::shared_ptr<DocumentState>& to);
};

// The C++ side of a Python element.
struct ElementRef {
    std::shared_ptr<DocumentState> document;
    KpXmlData* node = nullptr;  // null once the element is dead
    const char* deadReason = removedReason;

    ElementRef(std::shared_ptr<DocumentState> state, KpXmlData* element) : document(std::move(state)), node(element) {
        document->live.emplace(node, this);
    }
    ~ElementRef() {
        if (node != nullptr) document->live.erase(node);
    }
    ElementRef(const ElementRef&) = delete;
    ElementRef& operator=(const ElementRef&) = delete;

    // The node; StaleElementError when the element is dead.
    KpXmlData& get() const {
        if (node == nullptr) throw StaleElement(deadReason);
        return *node;
    }
};

// Calls visit for each node of top's subtree, without recursion.
template <typename Visit>
void forEachInSubtree(const KpXmlData* top, Visit visit) {
    std::vector<const KpXmlData*> pending{top};
    while (!pending.empty()) {
        const KpXmlData* node = pending.back();
        pending.pop_back();
        visit(node);
        for (const KpXmlData* child : node->getChildren()) {
            if (child != nullptr) pending.push_back(child);
        }
    }
}

void DocumentState::forgetSubtree(const KpXmlData* top) {
    if (live.empty()) return;
    forEachInSubtree(top, [this](const KpXmlData* node) {
        const auto found = live.find(node);
        if (found == live.end()) return;
        found->second->node = nullptr;
        found->second->deadReason = removedReason;
        live.erase(found);
    });
}

void DocumentState::forgetAll(const char* reason) {
    for (const auto& [node, element] : live) {
        element->node = nullptr;
        element->deadReason = reason;
    }
    live.clear();
}

void DocumentState::moveSubtree(const KpXmlData* top, const std::shared_ptr<DocumentState>& to) {
    if (live.empty()) return;
    forEachInSubtree(top, [this, &to](const KpXmlData* node) {
        const auto found = live.find(node);
        if (found == live.end()) return;
        ElementRef* element = found->second;
        live.erase(found);
        to->live.emplace(node, element);
        element->document = to;  // the caller keeps this state alive meanwhile
    });
}

// The Python element for node (the same object while one exists), or None for null.
py::object wrap(const std::shared_ptr<DocumentState>& state, KpXmlData* node) {
    if (node == nullptr) return py::none();
    const auto found = state->live.find(node);
    if (found != state->live.end()) return py::cast(found->second, py::return_value_policy::reference);
    // Registered before Python makes the object, so that whatever Python runs meanwhile (a garbage
    // collection) finds it.
    return py::cast(std::make_unique<ElementRef>(state, node));
}

struct DocumentRef {
    std::shared_ptr<DocumentState> state;
};

std::string written(const KpXmlTree& tree, bool declaration) {
    std::ostringstream out;
    tree.putToStream(out, declaration);
    return out.str();
}

void parseInto(DocumentState& state, py::handle data) {
    std::istringstream in(narrow(data, "the document"));
    state.forgetAll(rereadReason);
    state.tree.buildOfStream(in);
}

void readInto(DocumentState& state, py::handle path) {
    const std::string name = filePath(path);
    KpXmlTree replacement;
    std::error_code error;
    if (!replacement.readFile(name, error)) raiseOSError(error, path);
    state.forgetAll(rereadReason);
    // The tree takes the new root; the old one is freed with the replacement.
    KpXmlData* old = state.tree.getRoot();
    state.tree.setRoot(replacement.getRoot());
    state.tree.setCurrentNode(nullptr);
    replacement.setRoot(old);
}

// --- Children ------------------------------------------------------------------------------------

std::vector<KpXmlData*>& childrenOf(KpXmlData& node) { return node.getChildren(); }

std::size_t positionOf(const KpXmlData& parent, const KpXmlData* child) {
    const std::vector<KpXmlData*>& children = parent.getChildren();
    return static_cast<std::size_t>(std::find(children.begin(), children.end(), child) - children.begin());
}

// Moves child (with its subtree) to position index of parent's children, from wherever it is.
void insertChild(ElementRef& parentRef, std::size_t index, ElementRef& childRef) {
    KpXmlData& parent = parentRef.get();
    KpXmlData& child = childRef.get();
    for (const KpXmlData* above = &parent; above != nullptr; above = above->getParent()) {
        if (above == &child) throw py::value_error("an element cannot be placed inside itself");
    }
    const std::shared_ptr<DocumentState> from = childRef.document;  // alive while its elements move
    KpXmlData* oldParent = child.getParent();
    if (oldParent == nullptr) {
        if (!from->standalone || from->tree.getRoot() != &child) {
            throw py::value_error("the root of a document cannot be moved");
        }
        from->tree.setRoot(nullptr);
    } else {
        std::vector<KpXmlData*>& old = childrenOf(*oldParent);
        const std::size_t at = positionOf(*oldParent, &child);
        if (at == old.size()) throw std::logic_error("an element missing from its parent's children");
        if (oldParent == &parent && at < index) --index;
        old.erase(old.begin() + static_cast<std::ptrdiff_t>(at));
    }
    std::vector<KpXmlData*>& children = childrenOf(parent);
    index = std::min(index, children.size());
    children.insert(children.begin() + static_cast<std::ptrdiff_t>(index), &child);
    child.setParent(&parent);
    if (from != parentRef.document) from->moveSubtree(&child, parentRef.document);
}

// Frees the child at index with its subtree, its elements marked dead first.
void deleteChild(DocumentState& state, KpXmlData& parent, std::size_t index) {
    std::vector<KpXmlData*>& children = childrenOf(parent);
    KpXmlData* child = children[index];
    if (child != nullptr) state.forgetSubtree(child);
    children.erase(children.begin() + static_cast<std::ptrdiff_t>(index));
    delete child;
}

std::size_t checkedIndex(const KpXmlData& parent, std::size_t index) {
    if (index >= parent.getChildren().size()) throw py::index_error("child index out of range");
    return index;
}

// --- Attributes ----------------------------------------------------------------------------------

// The names of the attributes in order, each once: a later attribute of the same name is hidden
// by the first, as every lookup by name finds the first.
py::list attributeNames(const KpXmlData& node) {
    py::list names;
    std::vector<const std::string*> seen;
    for (const KpXmlAttributeData* attribute : node.getAttributes()) {
        if (attribute == nullptr) continue;
        const std::string& name = attribute->getName();
        if (std::any_of(seen.begin(), seen.end(), [&name](const std::string* s) { return *s == name; })) continue;
        seen.push_back(&name);
        names.append(codePage.decode(name));
    }
    return names;
}

void setAttribute(KpXmlData& node, const std::string& name, const Value& value) {
    switch (value.kind) {
    case Value::Kind::integer: node.setAttribute(name, value.integer); break;
    case Value::Kind::real: node.setAttribute(name, value.real); break;
    case Value::Kind::text: node.setAttribute(name, value.text); break;
    }
}

void setData(KpXmlData& node, const Value& value) {
    switch (value.kind) {
    case Value::Kind::integer: node.setData(value.integer); break;
    case Value::Kind::real: node.setData(value.real); break;
    case Value::Kind::text: node.setData(value.text); break;
    }
}

// The attribute's value as the library reads numbers (a temporary attribute does the reading).
const KpXmlAttributeData& attributeOf(const KpXmlData& node, const std::string& name, py::handle key) {
    const KpXmlAttributeData* attribute = node.findAttribute(name);
    if (attribute == nullptr) throw py::key_error(py::repr(key).cast<std::string>());
    return *attribute;
}

std::string describe(const ElementRef& element) {
    if (element.node == nullptr) return "<kpxml.Element (dead: " + std::string(element.deadReason) + ")>";
    return "<kpxml.Element " + py::repr(codePage.decode(element.node->getName())).cast<std::string>() + ">";
}

}  // namespace

PYBIND11_MODULE(_kpxml, m) {
    m.doc() = "The core of the kpxml module; use the kpxml package.";
    codePage.load();
    py::register_exception<StaleElement>(m, "StaleElementError", PyExc_RuntimeError);

    py::class_<ElementRef> element(m, "Element");
    element
        .def(py::init([](py::handle name, py::handle text) {
                 std::string nameBytes = narrow(name, "the name");
                 std::string textBytes = text.is_none() ? std::string() : narrow(text, "the text");
                 auto state = std::make_shared<DocumentState>(nameBytes);
                 state->standalone = true;
                 state->tree.getRoot()->setData(textBytes);
                 return std::make_unique<ElementRef>(state, state->tree.getRoot());
             }),
             py::arg("name"), py::arg("text") = py::none(),
             "A new element outside any document, until it is placed among an element's children.")
        .def_property(
            "name", [](const ElementRef& self) { return codePage.decode(self.get().getName()); },
            [](const ElementRef& self, py::handle name) {
                const std::string value = narrow(name, "the name");
                self.get().setName(value);
            })
        .def_property(
            "name_bytes", [](const ElementRef& self) { return asBytes(self.get().getName()); },
            [](const ElementRef& self, const py::bytes& name) { self.get().setName(std::string(name)); })
        .def_property(
            "text", [](const ElementRef& self) { return codePage.decode(self.get().getData()); },
            [](const ElementRef& self, py::handle text) {
                const std::string value = narrow(text, "the text");
                self.get().setData(value);
            },
            "The element's text; stored without leading and trailing spaces, as the library stores it.")
        .def_property(
            "text_bytes", [](const ElementRef& self) { return asBytes(self.get().getData()); },
            [](const ElementRef& self, const py::bytes& text) { self.get().setData(std::string(text)); })
        .def_property_readonly("parent",
                               [](const ElementRef& self) { return wrap(self.document, self.get().getParent()); })
        .def("find", [](const ElementRef& self, py::handle name) {
                 const std::string key = narrow(name, "the name");
                 return wrap(self.document, self.get().findChild(key));
             }, py::arg("name"), "The first child with this name, or None.")
        .def("find_deep", [](const ElementRef& self, py::handle name) {
                 const std::string key = narrow(name, "the name");
                 return wrap(self.document, self.get().findTree(key, true));
             }, py::arg("name"),
             "The first element with this name in the library's search order: this element, its "
             "children, then each child's subtree in turn; None when there is none.")
        .def("get_int", [](const ElementRef& self) { return KpXmlAttributeData("", self.get().getData()).getInteger(); },
             "The text read as the library reads integers (0 when it holds no number).")
        .def("get_float", [](const ElementRef& self) { return KpXmlAttributeData("", self.get().getData()).getDouble(); },
             "The text read as the library reads reals (0.0 when it holds no number).")
        .def("set", [](const ElementRef& self, py::handle value, py::handle format) {
                 const Value converted(value, format);
                 setData(self.get(), converted);
             }, py::arg("value"), py::arg("format") = py::none(),
             "Sets the text: an int as decimal text, a float with 20 significant digits or with a "
             "printf format for one real, a str or bytes as text.")
        .def("__len__", [](const ElementRef& self) { return self.get().getChildren().size(); })
        .def("__bool__", [](const ElementRef&) { return true; })
        .def("__repr__", &describe)
        .def_property_readonly("_alive", [](const ElementRef& self) { return self.node != nullptr; })
        .def("_child", [](const ElementRef& self, std::size_t index) {
                 const KpXmlData& node = self.get();
                 return wrap(self.document, node.getChildren()[checkedIndex(node, index)]);
             })
        .def("_insert", [](ElementRef& self, std::size_t index, ElementRef& child) { insertChild(self, index, child); })
        .def("_remove", [](ElementRef& self, ElementRef& child) {
                 KpXmlData& node = self.get();
                 if (child.get().getParent() != &node) throw py::value_error("not a child of this element");
                 deleteChild(*self.document, node, positionOf(node, child.node));
             })
        .def("_remove_at", [](ElementRef& self, std::size_t index) {
                 KpXmlData& node = self.get();
                 deleteChild(*self.document, node, checkedIndex(node, index));
             })
        .def("_clear", [](ElementRef& self) {
                 KpXmlData& node = self.get();
                 for (const KpXmlData* child : node.getChildren()) {
                     if (child != nullptr) self.document->forgetSubtree(child);
                 }
                 std::vector<KpXmlData*> children;
                 children.swap(childrenOf(node));
                 for (KpXmlData* child : children) delete child;
             })
        .def("_reverse", [](ElementRef& self) {
                 std::vector<KpXmlData*>& children = childrenOf(self.get());
                 std::reverse(children.begin(), children.end());
             })
        .def("_index", [](const ElementRef& self, const ElementRef& child) -> long {
                 const KpXmlData& node = self.get();
                 if (child.node == nullptr || child.node->getParent() != &node) return -1;
                 return static_cast<long>(positionOf(node, child.node));
             })
        // The walk of iter(): the child at index, or None past the end or when this element is dead.
        .def("_walk_child", [](const ElementRef& self, std::size_t index) -> py::object {
                 if (self.node == nullptr || index >= self.node->getChildren().size()) return py::none();
                 return wrap(self.document, self.node->getChildren()[index]);
             })
        // Where the walk goes on after child, visited at index, and whether to go into it: past
        // child while it is still here; at index again when it was removed or moved away, since
        // the next sibling took its place.
        .def("_walk_after", [](const ElementRef& self, const ElementRef& child, std::size_t index) {
                 if (self.node == nullptr || child.node == nullptr || child.node->getParent() != self.node) {
                     return py::make_tuple(index, false);
                 }
                 const std::vector<KpXmlData*>& children = self.node->getChildren();
                 const bool inPlace = index < children.size() && children[index] == child.node;
                 return py::make_tuple((inPlace ? index : positionOf(*self.node, child.node)) + 1, true);
             })
        .def("_attribute_names", [](const ElementRef& self) { return attributeNames(self.get()); })
        .def("_attribute", [](const ElementRef& self, py::handle name, bool asBytesValue) -> py::object {
                 const std::string key = narrow(name, "the name");
                 const KpXmlAttributeData* attribute = self.get().findAttribute(key);
                 if (attribute == nullptr) return py::none();
                 if (asBytesValue) return asBytes(attribute->getData());
                 return codePage.decode(attribute->getData());
             })
        .def("_attribute_int", [](const ElementRef& self, py::handle name) {
                 const std::string key = narrow(name, "the name");
                 return attributeOf(self.get(), key, name).getInteger();
             })
        .def("_attribute_float", [](const ElementRef& self, py::handle name) {
                 const std::string key = narrow(name, "the name");
                 return attributeOf(self.get(), key, name).getDouble();
             })
        .def("_set_attribute", [](const ElementRef& self, py::handle name, py::handle value, py::handle format) {
                 const std::string key = narrow(name, "the name");
                 const Value converted(value, format);
                 setAttribute(self.get(), key, converted);
             })
        .def("_remove_attribute", [](const ElementRef& self, py::handle name) {
                 const std::string key = narrow(name, "the name");
                 return self.get().removeAttribute(key);
             });

    py::class_<DocumentRef>(m, "Document")
        .def(py::init([](py::handle rootName) {
                 auto document = std::make_unique<DocumentRef>();
                 document->state = rootName.is_none() ? std::make_shared<DocumentState>()
                                                      : std::make_shared<DocumentState>(narrow(rootName, "the name"));
                 return document;
             }),
             py::arg("root") = py::none(), "A new document, empty or with a root element of that name.")
        .def_property_readonly("root", [](const DocumentRef& self) { return wrap(self.state, self.state->tree.getRoot()); })
        .def("parse", [](DocumentRef& self, py::handle data) { parseInto(*self.state, data); }, py::arg("data"),
             "Replaces the tree by the one parsed from data (str or bytes); every element of the old tree dies.")
        .def("read", [](DocumentRef& self, py::handle path) { readInto(*self.state, path); }, py::arg("path"),
             "Replaces the tree by the one read from the file; every element of the old tree dies. "
             "OSError, changing nothing, when the file cannot be opened.")
        .def("write", [](const DocumentRef& self, py::handle path, bool declaration) {
                 std::error_code error;
                 if (!self.state->tree.writeFile(filePath(path), declaration, error)) raiseOSError(error, path);
             }, py::arg("path"), py::arg("declaration") = true,
             "Saves safely: the file is replaced only by a complete new one. OSError when nothing was saved.")
        .def("tostring", [](const DocumentRef& self, bool declaration) { return codePage.decode(written(self.state->tree, declaration)); },
             py::arg("declaration") = true)
        .def("tobytes", [](const DocumentRef& self, bool declaration) { return asBytes(written(self.state->tree, declaration)); },
             py::arg("declaration") = true)
        .def("set_indent", [](DocumentRef& self, py::handle unit) { self.state->tree.setIndent(narrow(unit, "the indentation")); },
             py::arg("unit"), "The indentation unit for writing: empty, one tab or spaces only; anything else is ignored.");

    m.def("parse", [](py::handle data) {
              DocumentRef document{std::make_shared<DocumentState>()};
              parseInto(*document.state, data);
              return document;
          }, py::arg("data"));
    m.def("read", [](py::handle path) {
              DocumentRef document{std::make_shared<DocumentState>()};
              readInto(*document.state, path);
              return document;
          }, py::arg("path"));
}
