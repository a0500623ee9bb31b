#include "xml/InvalidParameter.h"

#include <atomic>
#include <cstdlib>

#include "kpxml/KpXmlApi.h"
#include "kpxml/KpXmlExport.h"

namespace {

void abortOnInvalidParameter() {
    std::abort();
}

std::atomic<KpXmlInvalidParameterHandler> currentHandler{&abortOnInvalidParameter};

}  // namespace

extern "C" KPXML_API KpXmlInvalidParameterHandler
KpXml_SetInvalidParameterHandler(KpXmlInvalidParameterHandler handler) {
    return currentHandler.exchange(handler != nullptr ? handler : &abortOnInvalidParameter);
}

namespace KpXml::detail {

void raiseInvalidParameter() {
    currentHandler.load()();
}

}  // namespace KpXml::detail
