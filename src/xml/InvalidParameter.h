#ifndef KPXML_XML_INVALIDPARAMETER_H
#define KPXML_XML_INVALIDPARAMETER_H

namespace KpXml::detail {

// Calls the process-wide invalid-parameter handler (by default: abort()). Returns when the
// installed handler returns.
void raiseInvalidParameter();

}  // namespace KpXml::detail

#endif
