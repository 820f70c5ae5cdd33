// The expectations on documents: what one holds, and which ones came in which order. Called for blobs and for every
// kind of document that the agent uploads or reports; pure, nothing blocks.
#ifndef KELVANE_TOOLS_FABRIC_EXPECTATIONS_DOCUMENTS_H
#define KELVANE_TOOLS_FABRIC_EXPECTATIONS_DOCUMENTS_H

#include "tools/fabric/expectations.h"

namespace kelvane::fabric {

// Why the content is not what it must be; empty when it is. `type` is that of its blob, or its media type.
std::string content_mismatch(const ContentSpec &spec, const std::string &type, const std::string &content);

// Adds the findings on the documents of one kind, which `label` names, each only when `spec` expects something of it.
void judge_documents(const std::string &label, const DocumentsExpectSpec &spec, const std::vector<Upload> &uploads,
                     Verdict &verdict);

}  // namespace kelvane::fabric

#endif
