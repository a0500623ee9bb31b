#ifndef KPXML_KPXMLAPI_H
#define KPXML_KPXMLAPI_H

/* The C interface of KpXml. Valid C99 and C++; every function has C linkage. */

#ifdef __cplusplus
extern "C" {
#endif

/* Called when a caller's buffer is too small for a copy, or a real cannot be printed with the
   caller's format. The default handler ends the process with abort(). */
typedef void (*KpXmlInvalidParameterHandler)(void);

/* Installs handler (NULL: the default) and returns the previous one (never NULL). */
KpXmlInvalidParameterHandler KpXml_SetInvalidParameterHandler(KpXmlInvalidParameterHandler handler);

#ifdef __cplusplus
}
#endif

#endif
