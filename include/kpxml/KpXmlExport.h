#ifndef KPXML_KPXMLEXPORT_H
#define KPXML_KPXMLEXPORT_H

// KPXML_API marks the classes and functions that the KpXml library exports.
// KPXML_BUILDING is defined while the library itself is compiled; KPXML_STATIC by programs that
// link the library's code statically.
#if defined(_WIN32)
#  if defined(KPXML_BUILDING)
#    define KPXML_API __declspec(dllexport)
#  elif defined(KPXML_STATIC)
#    define KPXML_API
#  else
#    define KPXML_API __declspec(dllimport)
#  endif
#else
#  define KPXML_API __attribute__((visibility("default")))
#endif

#endif
