#ifndef KPXML_KPXML_H
#define KPXML_KPXML_H

// KpXml: element trees read from and written to a compact XML dialect. Includes every class of
// the library.
#include "kpxml/KpExchangeXml.h"
#include "kpxml/KpNullable.h"
#include "kpxml/KpXmlAttributeData.h"
#include "kpxml/KpXmlAttributeStream.h"
#include "kpxml/KpXmlData.h"
#include "kpxml/KpXmlDataUtil.h"
#include "kpxml/KpXmlTree.h"

#endif
