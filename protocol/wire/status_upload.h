// The upload of the status document to the storage service, as a block blob or as 512-byte pages, whichever the service
// says the blob is, and the once-per-configuration report whether that is what the configuration announced. Called by
// the operations table; blocks for as long as the requests and their retries take. A failed upload is logged where said
// and not repeated: the next pass sends a newer status.
#ifndef KELVANE_PROTOCOL_WIRE_STATUS_UPLOAD_H
#define KELVANE_PROTOCOL_WIRE_STATUS_UPLOAD_H

namespace kelvane {

// Uploads what the status blob holds and clears it. Does nothing, the blob keeping its content, while no upload URL is
// known; a document that cannot be built leaves it as well.
void status_upload();

// Asks the storage service for the blob's type: lent, null when it did not say.
const char *__StatusBlob_get_blob_type(const char *url);

// Uploads a document as a block blob. A page blob is protocol/wire/page_blob.h.
void __StatusBlob_put_block_blob(const char *url, const char *document);

}  // namespace kelvane

#endif
