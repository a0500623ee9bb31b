#ifndef KPXML_KPXML_H
#define KPXML_KPXML_H

// KpXml: element trees read from and written to a compact XML dialect. Includes every class of
// the library. Like the standard containers, each object may be used by one thread at a time;
// different objects, on different threads, at once.
#include "kpxml/KpExchangeXml.h"
#include "kpxml/KpNullable.h"
#include "kpxml/KpXmlAttributeData.h"
#include "kpxml/KpXmlAttributeStream.h"
#include "kpxml/KpXmlData.h"
#include "kpxml/KpXmlDataUtil.h"
#include "kpxml/KpXmlTree.h"

#endif
