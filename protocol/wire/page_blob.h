// The upload of a document as a page blob: the blob is created with its size, then written in pages of 512 bytes, up to
// 4 MiB in a request. Called by the status upload; blocks for as long as the requests and their retries take. A failure
// is logged and ends the upload; the blob may then hold a part of the document.
#ifndef KELVANE_PROTOCOL_WIRE_PAGE_BLOB_H
#define KELVANE_PROTOCOL_WIRE_PAGE_BLOB_H

namespace kelvane {

// The document is a text. When its length is a multiple of 512, a zero byte deliberately takes the place of its last
// character: whoever reads the blob relies on a terminator.
void __StatusBlob_put_page_blob(const char *url, const char *document);

}  // namespace kelvane

#endif
