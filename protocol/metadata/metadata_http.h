// The metadata service's requests: a document is fetched with GET or reported with PUT, in up to three attempts with
// ten seconds of sleep after each failed one, the last included, and none after a time-out. Used by the metadata
// protocol only. Blocks: ten seconds an attempt and the pauses, a minute at the worst. Statuses are not looked at: what
// a server answers with an error status is a document when it is JSON. Its log lines are written here.
#ifndef KELVANE_PROTOCOL_METADATA_METADATA_HTTP_H
#define KELVANE_PROTOCOL_METADATA_METADATA_HTTP_H

#include <stddef.h>
#include <stdint.h>

#include "core/base/curl_owners.h"
#include "core/base/json_owners.h"
#include "core/base/text.h"

namespace kelvane {

// Fetches a document. Absent when no attempt succeeded, for an empty body, and for one that the JSON gate refuses.
// headers may be null and stay the caller's. etag may be null: then the answer's headers are not looked at; else it
// receives the ETag of the last answer that had one, also when no document came of it; but when there was no memory for
// the document, which is logged, it is absent.
JsonOwner metadata_get(const char *url, curl_slist *headers, Text *etag);

// Reports a document as "application/json"; the answer is discarded. The content type is appended to the caller's list,
// which stays the caller's. The libcurl result of the last attempt, 0 for success; -1 when the document cannot be
// written or no handle can be made.
int32_t metadata_put(const char *url, CurlListOwner *headers, json_object *document);

// libcurl header callback over the Text that etag points to. Accepts every line whole.
size_t metadata_header_recv_cb(char *line, size_t size, size_t count, void *etag);

}  // namespace kelvane

#endif
