/* A program of another project that uses KpXml's C interface: builds a document by handles and
   prints what it reads back. */
#include <stdio.h>

#include <kpxml/KpXmlApi.h>

int main(void) {
    int tree = XML_Get_Tree("project");
    int project = XML_Create_Root_Tag(tree, "project");
    XML_Set_Attribute_Int(project, "version", 3);
    XML_Set_Real(XML_Add_Child_Tag(XML_Add_Child_Tag(project, "origin"), "X"), 12.5);

    char name[16];
    int length = 0;
    XML_Get_Tag_Name(XML_Get_Root_Tag(tree), name, sizeof name, &length);
    int x = XML_Find_Child_Tag(XML_Find_Child_Tag(project, "origin"), "X");
    printf("%s version %d, X %g\n", name, XML_Get_Attribute_Int(project, "version"), XML_Get_Real(x));
    XML_Delete_Tree(tree);
    return 0;
}
