#ifndef KPXML_KPXMLDATA_H
#define KPXML_KPXMLDATA_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "kpxml/KpXmlAttributeData.h"
#include "kpxml/KpXmlExport.h"

namespace KpXml::detail {
class NodeAccess;
}

// One element of a tree: a name, a text, ordered attributes and ordered children, and a link to
// its parent. A node owns its attributes and children and deletes them with itself. All values
// are held as text; the typed setters and getters convert on every call.
class KPXML_API KpXmlData {
public:
    // An element with an empty name and no parent.
    KpXmlData();
    // An element with the given name and no parent.
    explicit KpXmlData(const std::string& name);
    // An element with the given name whose parent pointer is set; it is not added to the parent's
    // children (use addChild or openChild for that).
    KpXmlData(const std::string& name, KpXmlData* parent);
    // Member-wise copies: the copy shares the very same children and attributes with the source,
    // so at most one of the two may still hold them when it is destroyed.
    KpXmlData(const KpXmlData& other) = default;
    KpXmlData& operator=(const KpXmlData& other) = default;
    // Deletes the attributes and the whole subtree (without recursion, whatever the depth).
    virtual ~KpXmlData();

    // Nodes and attributes come from the library's pools, which make them cheap to create and
    // destroy; derived classes larger than a slot use the global heap.
    static void* operator new(std::size_t size);
    static void operator delete(void* object, std::size_t size) noexcept;

    // Clears the caller's pointer and the expand flag; nothing else.
    void init();
    // Deletes all attributes, then all children with their subtrees; name, text, parent and flags stay.
    void flush();

    // --- Accessors -------------------------------------------------------------------------
    const std::string& getName() const { return name; }
    void setName(const std::string& newName);
    // The element text (decoded text when parsed).
    const std::string& getData() const { return data; }
    KpXmlData* getParent() const { return parent; }
    // Sets the parent pointer without touching any child list.
    void setParent(KpXmlData* newParent) { parent = newParent; }
    // The caller's own pointer; never read or freed by the library.
    void* getPointer() const { return pointer; }
    void setPointer(void* newPointer) { pointer = newPointer; }
    // True when the writer escapes the text into entities.
    bool getEntityFlag() const { return entityFlag; }
    void setEntityFlag(bool flag) { entityFlag = flag; }
    // The caller's own flag; the library gives it no meaning.
    bool getExpand() const { return expand; }
    void setExpand(bool flag) { expand = flag; }
    // The child list itself, in document order.
    std::vector<KpXmlData*>& getChildren();
    const std::vector<KpXmlData*>& getChildren() const { return children; }
    // The attribute list itself, in insertion order.
    std::vector<KpXmlAttributeData*>& getAttributes() { return attributes; }
    const std::vector<KpXmlAttributeData*>& getAttributes() const { return attributes; }

    // --- Children --------------------------------------------------------------------------
    // Appends child and sets its parent to this node; no checks (a null is appended as a null entry).
    void addChild(KpXmlData* child);
    // Appends a new child with the given name and returns it.
    KpXmlData* createChild(const std::string& childName);
    // The first child named childName when always is false and one exists; otherwise a new child.
    KpXmlData* openChild(const std::string& childName, bool always);
    // The first direct child named childName, or null.
    KpXmlData* findChild(const std::string& childName) const;
    // Searches by name: this node, then its direct children, then (when deep) the subtree of each
    // child in order. Null for an empty name or when nothing matches.
    KpXmlData* findTree(const std::string& searchName, bool deep);
    const KpXmlData* findTree(const std::string& searchName, bool deep) const;
    // The first direct child named childName whose attribute attrName reads as a real within
    // tolerance (strictly) of value; null if none.
    KpXmlData* findChildToAttribute(const std::string& childName, const std::string& attrName,
                                    double value, double tolerance) const;
    // As above, with the attribute's text equal to value byte for byte.
    KpXmlData* findChildToAttribute(const std::string& childName, const std::string& attrName,
                                    const std::string& value) const;
    // As above, with the attribute's text read as an integer equal to value.
    KpXmlData* findChildToAttribute(const std::string& childName, const std::string& attrName,
                                    int value) const;
    // Deletes the first direct child named childName with its subtree; nothing when there is none.
    void remove(const std::string& childName);

    // --- Attributes ------------------------------------------------------------------------
    // The first attribute named attrName, or null.
    KpXmlAttributeData* findAttribute(const std::string& attrName) const;
    // Deletes the first attribute named attrName; false when there is none.
    bool removeAttribute(const std::string& attrName);

    // Each setter updates the first attribute of that name in place, or appends a new one, and
    // sets its entity flag (true: the writer escapes the value).
    void setAttribute(const std::string& attrName, const std::string& value, bool entity = true);
    // The value as decimal text.
    void setAttribute(const std::string& attrName, int value, bool entity = true);
    // The value narrowed to its low 32 bits as a signed integer, as decimal text.
    void setAttribute(const std::string& attrName, long value, bool entity = true);
    // The value narrowed to its low 32 bits as a signed integer, as decimal text.
    void setAttribute(const std::string& attrName, unsigned long long value, bool entity = true);
    // The value with 20 significant digits; entity flag true.
    void setAttribute(const std::string& attrName, double value);
    // The value printed with a printf format for one real, trimmed of white space; entity flag
    // true. An unusable format stores the empty text and raises the invalid-parameter handler.
    void setAttribute(const std::string& attrName, double value, const char* format);

    // Reading attributes: the first attribute of that name.
    // Its value as an integer, or -1 when missing.
    int getAttributeInt(const std::string& attrName) const;
    // getAttributeInt(attrName) != 0, so true when missing.
    bool getAttributeBool(const std::string& attrName) const;
    // Its value as a real, or 0.0 when missing.
    double getAttributeDouble(const std::string& attrName) const;
    // A copy of its value, or an empty string when missing.
    std::string getAttributeString(const std::string& attrName) const;
    // Each findAttribute... sets out and returns true when the attribute exists; otherwise returns
    // false and leaves out unchanged.
    bool findAttributeInt(const std::string& attrName, int& out) const;
    // The value read as a real, truncated toward zero to a 32-bit integer (INT_MIN when out of range).
    bool findAttributeLong(const std::string& attrName, long& out) const;
    bool findAttributeDouble(const std::string& attrName, double& out) const;
    bool findAttributeBool(const std::string& attrName, bool& out) const;
    bool findAttributeString(const std::string& attrName, std::string& out) const;

    // --- Element text ----------------------------------------------------------------------
    // Stores the text without its leading and trailing spaces (only ' ', not tabs or line breaks).
    void setData(std::string value);
    // The value as decimal text.
    void setData(int value);
    // The value narrowed to its low 32 bits as a signed integer, as decimal text.
    void setData(unsigned long long value);
    // The value with 20 significant digits.
    void setData(double value);
    // The value printed with a printf format for one real, trimmed of white space. An unusable
    // format stores the empty text and raises the invalid-parameter handler.
    void setData(double value, const char* format);

    // Reading child text: the first direct child of that name.
    // Its text as an integer, or 0 when the child is missing or its text empty.
    int getChildInt(const std::string& childName) const;
    // Its text as a real, or 0.0 when the child is missing or its text empty.
    double getChildDouble(const std::string& childName) const;
    // A copy of its text, or an empty string when the child is missing.
    std::string getChildString(const std::string& childName) const;

    // Reads the texts of the first children named "X", "Y" and "Z" as reals (0.0 for a missing
    // child or an empty text); all three outputs are always written.
    void getVector(double& x, double& y, double& z) const;
    // The same three values in the order X, Y, Z.
    std::array<double, 3> getVector() const;

    // Sets attributes "N0", "N1", ... to the set's elements in ascending order (entity flag true);
    // existing attributes are overwritten by name and none are removed.
    void writeIntSet(const std::set<int>& values);
    // Inserts every attribute's value, read as an integer, into values (which is not cleared first).
    void readIntSet(std::set<int>& values) const;

    // --- Formatting ------------------------------------------------------------------------
    // Decimal text of the value, e.g. "-42".
    static std::string toString(const int& value);
    // The value with 20 significant digits in the shorter of fixed and scientific notation, as
    // printf "%.20g" (0.1 gives "0.10000000000000000555"); "inf", "-inf", "nan" or "-nan" otherwise.
    static std::string toString(const double& value);
    // Its argument, unchanged.
    static const std::string& toString(const std::string& value);

private:
    // For the library's parser: the name copied straight from the bytes read, the parent set. Inline,
    // so that the parser makes each node without a call.
    KpXmlData(KpXmlData* initialParent, const char* initialName, std::size_t nameSize)
        : name(initialName, nameSize), parent(initialParent), entityFlag(true), expand(false), childListChanges(0),
          pointer(nullptr) {}

    std::string name;
    std::string data;
    KpXmlData* parent;
    std::vector<KpXmlData*> children;
    std::vector<KpXmlAttributeData*> attributes;
    // The two flags side by side, and the change count in the padding after them: 144 bytes a node.
    bool entityFlag;
    bool expand;
    // Counts the times this node's child list was handed out for modification or changed, or a
    // child renamed (it wraps around); indexes of the children by name check it.
    std::uint32_t childListChanges;
    void* pointer;

    friend class KpXml::detail::NodeAccess;
};

#endif
