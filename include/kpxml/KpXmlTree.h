#ifndef KPXML_KPXMLTREE_H
#define KPXML_KPXMLTREE_H

#include <iosfwd>
#include <map>
#include <string>
#include <system_error>

#include "kpxml/KpXmlData.h"
#include "kpxml/KpXmlExport.h"

// A document: it owns its root element, keeps a movable current node for editing, reads itself
// from a stream and writes itself as indented XML text. One thread at a time may use a document
// and its nodes; other documents may be used on other threads meanwhile.
class KPXML_API KpXmlTree {
public:
    // An empty document: no root, no current node.
    KpXmlTree();
    // A document whose root is a new element with the given name; no current node.
    explicit KpXmlTree(const std::string& name);
    // A document parsed from in (see buildOfStream).
    explicit KpXmlTree(std::istream& in);
    // Copies share the tree: root and current node are copied as pointers, the tables and the
    // indentation by value. Only one of two copies may still hold the root when both are destroyed.
    KpXmlTree(const KpXmlTree& other);
    KpXmlTree& operator=(const KpXmlTree& other);
    // Deletes the root with its whole subtree.
    virtual ~KpXmlTree();

    // --- Root ------------------------------------------------------------------------------
    // The root element, or null.
    KpXmlData* getRoot() const { return root; }
    // Makes node the root (owned from now on); the previous root is neither deleted nor kept.
    void setRoot(KpXmlData* node) { root = node; }
    // A copy of the root's name; empty when there is no root.
    std::string getName() const;
    // Renames the root; nothing when there is no root.
    void setName(const std::string& name);
    // The root's findTree(name, deep), or null when there is no root. The current node stays.
    KpXmlData* findRoot(const std::string& name, bool deep) const;

    // --- Current node ----------------------------------------------------------------------
    KpXmlData* getCurrentNode() { return currentNode; }
    const KpXmlData* getCurrentNode() const { return currentNode; }
    // Sets the current node; no check that it belongs to this document.
    void setCurrentNode(KpXmlData* node) { currentNode = node; }
    // Moves down: without a current node, selects the root when it has this name (creating the
    // root when there is none); otherwise the current node's openChild(name, always). Returns
    // the new current node.
    KpXmlData* open(const std::string& name, bool always);
    // Moves up to the current node's parent (null above the root); without a current node,
    // selects the root.
    void close();

    // Each of these acts on the current node and does nothing (or returns null) without one.
    // The current node's attribute of that name, or null.
    KpXmlAttributeData* findAttribute(const std::string& name);
    // Sets an attribute to value with 20 significant digits.
    void setAttribute(const std::string& name, double value);
    // Sets an attribute to value printed with a printf format for one real.
    void setAttribute(const std::string& name, double value, const char* format);
    // Sets the text to value printed with a printf format for one real.
    void setValue(double value, const char* format);
    // Deletes the first child of that name with its subtree.
    void remove(const std::string& name);

    // --- Reading ---------------------------------------------------------------------------
    // Replaces the tree by the one parsed from in, read from its beginning; the current node
    // becomes null. A stream that is not good, or cannot be positioned at its beginning, leaves
    // an empty unnamed root. Malformed markup is never rejected. The stream is left positioned
    // after the last character read, with eofbit and failbit set when the input ran out.
    void buildOfStream(std::istream& in);
    // Replaces the tree by the one parsed from the file at path, read in text mode (CR LF becomes
    // LF, a byte 0x1A ends the input; on Windows a name that does not open is tried in its short
    // form). False when the file cannot be opened, and then the tree and current node stay as they were.
    bool readFile(const std::string& path);
    // readFile(path), with the reason in error when the file cannot be opened (cleared when it opens).
    bool readFile(const std::string& path, std::error_code& error);
    // The bytes of the file at path as readFile reads them (text mode, as above; a read error
    // ends the text as it ends readFile's input), for callers that need the text beside the
    // tree. False, with the reason in error and text empty, when the file cannot be opened.
    static bool readText(const std::string& path, std::string& text, std::error_code& error);

    // --- Writing ---------------------------------------------------------------------------
    // Writes the declaration line (when declaration is true) and then the whole tree.
    void putToStream(std::ostream& out, bool declaration) const;
    // Writes one element with its subtree, indented by its depth in its whole document; nothing
    // for a null node. Every line ends with a line feed and a flush of out.
    void putNode(std::ostream& out, const KpXmlData* node) const;
    // Writes as putToStream does to the file at path, through a temporary file that replaces the
    // target only when complete, so the old file is never lost. True only when the file now holds
    // the complete document; false, leaving the target as it was and no file behind, otherwise.
    bool writeFile(const std::string& path, bool declaration) const;
    // As writeFile(path, declaration), saying why a save failed, in the manner of std::filesystem:
    // error is cleared on success, and on failure holds a system error (std::generic_category:
    // "No such file or directory", "Read-only file system", "Is a directory", "File name too
    // long", "Permission denied" ...) or the library's own "read-only file" (which compares equal
    // to std::errc::permission_denied).
    bool writeFile(const std::string& path, bool declaration, std::error_code& error) const;
    // Sets the indentation unit when it is empty, a single tab or spaces only; otherwise ignored.
    void setIndent(const std::string& unit);
    // The open mode to give a file stream for putToStream: 2, output in text mode (with the bits
    // in 1, out 2, ate 4, app 8, trunc 16, binary 32).
    static int getOFStreamOpenMode();
    // Deletes all attributes and children of the current node (nothing without one).
    void flush();
    // Deletes all attributes and children of the root (nothing without one).
    void flushRoot();

private:
    KpXmlData* root;
    KpXmlData* currentNode;
    std::map<char, std::string> escapeMap;  // empty: the escapes every document starts with
    std::map<std::string, std::string> entityMap;  // empty: the entities every document starts with
    std::string separators;
    std::string indent;
};

#endif
