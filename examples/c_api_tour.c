/* A tour of KpXml's C interface: writes a file with the global-document functions, reads it back
   with the handle functions, and shows how results, buffers and the invalid-parameter handler
   work. Prints what it reads; returns 0. */
#include <stdio.h>

#include <kpxml/KpXmlApi.h>

static int bufferTooSmall = 0;

/* Called instead of abort() when a copy does not fit the caller's buffer. */
static void onInvalidParameter(void) {
    bufferTooSmall = 1;
}

int main(void) {
    /* 1. The global document: XML_Open creates it and its root, then walks down; XML_Close
          walks up. These functions return 1 for success and 0 for failure. */
    XML_Open("project");
    XML_SetAttributeInt("version", 3);
    XML_Open("origin");
    XML_SetReal(12.5);
    XML_Close();
    XML_Open("name");
    XML_SetText("bridge");
    XML_Close();
    if (XML_WriteFile("project.xml") != 1) return 1;
    XML_Stop(); /* destroys the global document */

    /* 2. Documents and elements by handle. A handle is a positive int; -1 means "none". */
    int tree = XML_Get_Tree("input");
    XML_Read_Tree(tree, "project.xml");
    int root = XML_Get_Root_Tag(tree);
    int origin = XML_Find_Child_Tag(root, "origin");
    printf("version %d, origin %g\n", XML_Get_Attribute_Int(root, "version"), XML_Get_Real(origin));
    printf("missing child: %d\n", XML_Find_Child_Tag(root, "missing"));

    /* 3. Text is copied into the caller's buffer, with its length. */
    char name[16];
    int length = 0;
    XML_Get_Text(XML_Find_Child_Tag(root, "name"), name, sizeof name, &length);
    printf("name \"%s\" (%d characters)\n", name, length);

    /* 4. A buffer that is too small is emptied and the handler is called; the default handler
          would end the process. */
    KpXmlInvalidParameterHandler previous = KpXml_SetInvalidParameterHandler(onInvalidParameter);
    char tiny[4];
    XML_Get_Text(XML_Find_Child_Tag(root, "name"), tiny, sizeof tiny, &length);
    printf("tiny buffer: handler called %d, buffer \"%s\", length %d\n", bufferTooSmall, tiny, length);
    KpXml_SetInvalidParameterHandler(previous);

    /* 5. Handles of deleted elements answer as unknown: getters give 0, functions do nothing. */
    XML_Delete_Child_Tag(root, "origin");
    printf("after delete: %d children, stale origin reads %g\n", XML_Get_Number_Of_Children(root),
           XML_Get_Real(origin));

    XML_Delete_Tree(tree); /* the document and every element handle in it */
    remove("project.xml");
    return 0;
}
