// The provisioning document and the custom data, as the mounted medium or the copies of an earlier start hold them.
// Called once by start-up, between mounting and unmounting. Blocks for as long as the medium does. What cannot be read
// or parsed counts as no document; that is logged at high levels only, but for a cap. The document holds the
// administrator's password in clear: its owner frees it with OvfEnvFree as soon as provisioning has run.
#ifndef KELVANE_PROVISION_OVF_DOCUMENT_H
#define KELVANE_PROVISION_OVF_DOCUMENT_H

#include "core/base/xml.h"

namespace kelvane {

// The parsed document, or none. Keeps a copy of the document, and one of the custom data, where there is none yet.
// *no_memory tells whether there is one for which memory ran out.
XmlOwner OvfEnvLoad(bool *no_memory);

// Overwrites every password in the document and frees it. An absent document is fine.
void OvfEnvFree(XmlOwner *document);

}  // namespace kelvane

#endif
