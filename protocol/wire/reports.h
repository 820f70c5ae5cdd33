// The provisioning reports to the wire server: health, and the role properties that publish a certificate's thumbprint.
// Called by the operations table with what provisioning tells; blocks for as long as the requests and their retries
// take. Failures are logged by the HTTP client and known to nobody else. Values go into the documents as they are,
// without any escaping; a goal-state value that is not known yet is written as the empty text. A document longer than
// its buffer (4096 and 2048 bytes) is cut.
#ifndef KELVANE_PROTOCOL_WIRE_REPORTS_H
#define KELVANE_PROTOCOL_WIRE_REPORTS_H

namespace kelvane {

// POSTs the health document. substatus and description may be null; a description without a substatus is not written.
void report_health(const char *state, const char *substatus, const char *description);

// POSTs the role properties document.
void report_role_properties(const char *thumbprint);

}  // namespace kelvane

#endif
