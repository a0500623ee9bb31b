#ifndef KPXML_KPXMLAPI_H
#define KPXML_KPXMLAPI_H

/* The C interface of KpXml. Valid C99 and C++; every function has C linkage.

   Two families share nothing but the node model:
   - XML_Open, XML_GetInt, XML_WriteFile ... act on one global document and its current node.
     They return 1 for success and 0 for failure (no global document, a null argument they check).
   - XML_Get_Tree, XML_Add_Child_Tag, XML_Get_Int ... act on documents and elements named by
     handles (positive ints). Functions returning a handle return -1 when there is none; getters
     return 0 or 0.0 for an unknown handle, and void functions then do nothing. The handle of an
     element whose node no longer exists answers as unknown.
   Copies into caller buffers never truncate: a text that does not fit leaves the buffer empty and
   calls the invalid-parameter handler (see KpXml_SetInvalidParameterHandler).
   The C functions may be called from several threads at once (the library serialises them); one
   C++ object is used by one thread at a time, like the standard containers. Each call runs whole,
   so the global document and a handle's element are shared by all threads. */

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Called when a caller's buffer is too small for a copy, or a real cannot be printed with the
   caller's format. The default handler ends the process with abort(). It runs on the calling
   thread while the XML_ function that raised it still holds its turn: other threads' XML_ calls
   wait for it, and it may call XML_ functions itself, but none that deletes or replaces the
   document or element that the interrupted call works on. */
typedef void (*KpXmlInvalidParameterHandler)(void);

/* Installs handler (NULL: the default) and returns the previous one (never NULL). */
KpXmlInvalidParameterHandler KpXml_SetInvalidParameterHandler(KpXmlInvalidParameterHandler handler);

/* ---- The global document ------------------------------------------------------------------ */

/* Creates the global document on first use; appends a new element tagName below the current
   node and makes it current (creates or reselects the root when there is no current node).
   0 when tagName is NULL, else 1. */
int XML_Open(const char* tagName);
/* Moves the current node to its parent (to the root when there is none). 0 without a document. */
int XML_Close(void);
/* Destroys the global document. Always 1. */
int XML_Stop(void);
/* Replaces the global document by a new one, then parses the file into it. 1 when the file could
   be opened, 0 otherwise (the document is then empty); 0 for a NULL path, which changes nothing. */
int XML_ReadFile(const char* path);
/* Writes the global document with the declaration line to path, through a temporary file that
   replaces the target. 1 only when path now holds the complete document; 0, with the file as it
   was and nothing left behind, without a document, for a NULL path, or when the save fails
   (read-only file, missing directory, a directory, name too long, read-only file system, full
   disk ...). */
int XML_WriteFile(const char* path);

/* Reads an int from the current node's text by stream extraction; *value keeps what the
   extraction leaves (unchanged for an empty or blank text). 0 without a current node. */
int XML_GetInt(int* value);
/* As XML_GetInt, for a real. */
int XML_GetReal(double* value);
/* Copies the current node's text into buffer; *length = the text's length. 0 without a current
   node or for a NULL buffer. */
int XML_GetText(char* buffer, size_t bufferSize, int* length);
/* Each setter stores the value as the current node's text and returns 1 (also when there is no
   current node and nothing is stored); 0 without a global document or for a NULL text. */
int XML_SetInt(int value);
int XML_SetReal(double value);
int XML_SetRealFormat(double value, const char* format);
int XML_SetText(const char* text);

/* The current node's attribute as an int (atoi) or real (atof), or copied into buffer
   (*length = its length). 0 without a current node, for NULL arguments or a missing attribute. */
int XML_GetAttributeInt(const char* name, int* value);
int XML_GetAttributeReal(const char* name, double* value);
int XML_GetAttributeText(const char* name, char* buffer, size_t bufferSize, int* length);
/* Each sets an attribute of the current node and returns 1 (also without a current node); 0
   without a global document or for a NULL name, text or (XML_SetAttributeRealFormat) format. */
int XML_SetAttributeInt(const char* name, int value);
int XML_SetAttributeReal(const char* name, double value);
int XML_SetAttributeRealFormat(const char* name, double value, const char* format);
int XML_SetAttributeText(const char* name, const char* text);

/* Appends line to the current node's text (or to an attribute's text, creating the attribute),
   with a line feed between it and any text before. 0 without a current node or for NULL arguments. */
int XML_AddTextLine(const char* line);
int XML_AddAttributeTextLine(const char* name, const char* line);

/* ---- Documents by handle -------------------------------------------------------------------- */

/* The handle of the first document registered under name (NULL counts as ""), registering a new
   empty document when there is none. */
int XML_Get_Tree(const char* name);
/* Replaces the document's tree by the one parsed from the file; the handles into the old tree
   become unknown. When the file cannot be opened (or for an unknown handle or a NULL path)
   nothing happens: the document keeps its tree and there is no sign of the failure. */
void XML_Read_Tree(int tree, const char* path);
/* Writes the document with the declaration line to path as XML_WriteFile does; a save that
   fails leaves the file as it was and nothing behind, but cannot be reported here. */
void XML_Write_Tree(int tree, const char* path);
/* Destroys the document and removes it from the registry. */
void XML_Delete_Tree(int tree);

/* ---- Elements by handle --------------------------------------------------------------------- */

/* Makes a new element the document's root (the previous root stays alive) and returns its handle. */
int XML_Create_Root_Tag(int tree, const char* name);
/* The handle of the document's root, or -1 when it has none. */
int XML_Get_Root_Tag(int tree);
/* Appends a new child element and returns its handle. */
int XML_Add_Child_Tag(int parent, const char* name);
/* The handle of the first child named name, or -1. */
int XML_Find_Child_Tag(int parent, const char* name);
/* The handle of the first child named childName whose attribute attrName has exactly the text
   attrValue / reads as the int value / reads as a real within tolerance (strictly) of value; or -1. */
int XML_Find_Child_To_Attribute(int parent, const char* childName, const char* attrName, const char* attrValue);
int XML_Find_Child_To_Int_Attribute(int parent, const char* childName, const char* attrName, int value);
int XML_Find_Child_To_Real_Attribute(int parent, const char* childName, const char* attrName, double value,
                                     double tolerance);
/* Deletes the first child named name with its subtree; the handles into it become unknown. */
void XML_Delete_Child_Tag(int parent, const char* name);
/* Zero-fills handles[0..capacity), then stores the handles of the first capacity children. */
void XML_Get_Children(int parent, int* handles, int capacity);
/* The number of children, or 0 for an unknown element. */
int XML_Get_Number_Of_Children(int parent);
/* Copies the element's name (empty for an unknown element) into buffer; *length = the length of
   the text now in buffer. */
void XML_Get_Tag_Name(int tag, char* buffer, size_t bufferSize, int* length);

/* ---- Values by handle ----------------------------------------------------------------------- */

/* The element's text read as an int (atoi) or a real (atof); 0 for an unknown element. */
int XML_Get_Int(int tag);
double XML_Get_Real(int tag);
/* Copies the element's text into buffer; *length = the length of the text now in buffer.
   0 for an unknown element, else 1. */
int XML_Get_Text(int tag, char* buffer, size_t bufferSize, int* length);
/* Store the value as the element's text. */
void XML_Set_Int(int tag, int value);
void XML_Set_Real(int tag, double value);
void XML_Set_Real_Format(int tag, double value, const char* format);
void XML_Set_Text(int tag, const char* text);
/* Empties buffer and *length first; then copies the attribute's text, if any. */
void XML_Get_Attribute(int tag, const char* name, char* buffer, size_t bufferSize, int* length);
/* The attribute read as an int (atoi) or a real (atof); 0 when the element or attribute is missing. */
int XML_Get_Attribute_Int(int tag, const char* name);
double XML_Get_Attribute_Real(int tag, const char* name);
/* Set an attribute of the element. */
void XML_Set_Attribute(int tag, const char* name, const char* text);
void XML_Set_Attribute_Int(int tag, const char* name, int value);
void XML_Set_Attribute_Real(int tag, const char* name, double value);
void XML_Set_Attribute_Real_Format(int tag, const char* name, double value, const char* format);
/* Append line to the element's text / to an attribute's text (creating it), with a line feed
   between it and any text before. */
void XML_Add_Text_Line(int tag, const char* line);
void XML_Add_Attribute_Textline(int tag, const char* name, const char* line);

#ifdef __cplusplus
}
#endif

#endif
