#include "protocol/wire/status_upload.h"

#include <string.h>

#include "core/base/buffer.h"
#include "core/base/log.h"
#include "core/base/text.h"
#include "include/agent_version.h"
#include "protocol/wire/ext_config.h"
#include "protocol/wire/http_client.h"
#include "protocol/wire/page_blob.h"
#include "protocol/wire/status_blob.h"
#include "protocol/wire/status_document.h"
#include "protocol/wire/storage_request.h"
#include "telemetry/event_queue.h"

namespace kelvane {

namespace {

constexpr char kBlockBlob[] = "BlockBlob";
constexpr char kPageBlob[] = "PageBlob";

void put_as(const char *blob_type, const char *url, const char *document) {
  if (blob_type == nullptr) {
    return;
  }
  if (strcmp(blob_type, kBlockBlob) == 0) {
    __StatusBlob_put_block_blob(url, document);
  } else if (strcmp(blob_type, kPageBlob) == 0) {
    __StatusBlob_put_page_blob(url, document);
  }
}

// Also when the configuration announced no type: it counts as a block blob then.
void report_blob_type(const char *blob_type) {
  if (blob_type == nullptr || blob_type_reported()) {
    return;
  }
  const char *announced = ext_config()->page_blob != 0 ? kPageBlob : kBlockBlob;
  const bool match = strcmp(blob_type, announced) == 0;
  Text whole;
  const int32_t made = match ? text_format(&whole, "Blob type match [%s]", blob_type)
                             : text_format(&whole, "Blob type mismatch [HEAD %s], [CONFIG %s]", blob_type, announced);
  // Cut between characters: the storage service may name its type as it likes.
  char text[256];
  text_copy_field(text, made == 0 ? whole.get() : "");
  AddExtensionEvent(kAgentName, kTelemetryHealthCheck, match ? 1 : 0, 0, kAgentVersion, text);
  blob_type_reported_set(true);
}

}  // namespace

void status_upload() {
  if (ext_config()->status_upload_url.empty()) {
    return;
  }
  const char *url = ext_config()->status_upload_url.get();
  const Text document = status_document_make(status_blob());
  if (!document.present()) {
    return;
  }
  const char *blob_type = __StatusBlob_get_blob_type(url);
  put_as(blob_type, url, document.get());
  status_blob_clear();
  report_blob_type(blob_type);
}

const char *__StatusBlob_get_blob_type(const char *url) {
  LOG_ABOVE(6, "[kelvane]: start - %s:%d\n", "__StatusBlob_get_blob_type", 214);
  captured_blob_type_clear();
  BufferOwner discarded;
  int64_t code = 0;
  const int32_t result = storage_request(kStorageHead, url, nullptr, 0, nullptr, discarded.get(), &code);
  if (result != 0) {
    // What a refusal says of the blob does not count.
    captured_blob_type_clear();
  }
  return captured_blob_type();
}

void __StatusBlob_put_block_blob(const char *url, const char *document) {
  LOG_ABOVE(6, "[kelvane]: start - %s:%d\n", "__StatusBlob_put_block_blob", 239);
  // Lent: a PUT only reads its buffer.
  Buffer body = {.data = const_cast<char *>(document), .length = strlen(document)};
  int64_t code = 0;
  storage_put(url, {"x-ms-blob-type: BlockBlob"}, &body, &code);
}

}  // namespace kelvane
