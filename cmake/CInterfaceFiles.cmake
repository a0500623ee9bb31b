# Derives from the C interface's header the files that must name each of its functions, so that a
# new function is added by its declaration in the header and its definition only.
#   cmake -DHEADER=include/kpxml/KpXmlApi.h -DOUTPUT_DIR=<dir> -P cmake/CInterfaceFiles.cmake
# writes to OUTPUT_DIR:
#   KpXml.def             the Windows DLL's export list
#   CInterfaceNames.txt   the names, one a line, that the shipped library must export
#   CInterfaceAddresses.h the address of every function, for a C program that must link them all
# A function is any declaration at file level whose name starts with XML_ or KpXml_.

file(READ "${HEADER}" text)

# Comments and preprocessor lines go first; what is left is the declarations, ended by ';'.
string(REGEX REPLACE "/\\*([^*]|\\*+[^*/])*\\*+/" " " text "${text}")
string(REGEX REPLACE "//[^\n]*" " " text "${text}")
string(REGEX REPLACE "(^|\n)[ \t]*#[^\n]*" "\n" text "${text}")
string(REGEX REPLACE "extern \"C\"[ \t\n]*{|}" " " text "${text}")
string(REGEX REPLACE "[ \t\n]+" " " text "${text}")
# ';' is CMake's list separator: the text is now the list of declarations.

set(names "")
foreach(declaration IN LISTS text)
  if(declaration MATCHES "^ *typedef ")
    continue()
  endif()
  if(declaration MATCHES "[ *]((XML|KpXml)_[A-Za-z0-9_]+) *\\(")
    list(APPEND names "${CMAKE_MATCH_1}")
  endif()
endforeach()

list(LENGTH names count)
if(count EQUAL 0)
  message(FATAL_ERROR "no function declared in ${HEADER}")
endif()
list(REMOVE_DUPLICATES names)

set(def "LIBRARY KpXml.dll\nEXPORTS\n")
set(list "")
set(addresses "/* Generated from ${HEADER} by cmake/CInterfaceFiles.cmake. */\n")
string(APPEND addresses "static void (*const cInterfaceAddresses[])(void) = {\n")
foreach(name IN LISTS names)
  string(APPEND def "    ${name}\n")
  string(APPEND list "${name}\n")
  string(APPEND addresses "    (void (*)(void))${name},\n")
endforeach()
string(APPEND addresses "};\n")

file(WRITE "${OUTPUT_DIR}/KpXml.def" "${def}")
file(WRITE "${OUTPUT_DIR}/CInterfaceNames.txt" "${list}")
file(WRITE "${OUTPUT_DIR}/CInterfaceAddresses.h" "${addresses}")
