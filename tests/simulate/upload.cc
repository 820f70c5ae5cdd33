#include "tests/simulate/upload.h"

#include <cstdlib>

#include "tests/simulate/same.h"
#include "tests/simulate/text.h"
#include "tests/simulate/view.h"

namespace simulate {

namespace {

constexpr size_t kPage = 512;

struct Upload {
  int asked;                     // for the type
  BlobType type;                 // that an answer named last
  bool answered;                 // the last question
  int blocks, creations, pages;  // attempts
  size_t size;                   // of the blob in pages
  bool created;                  // the last creation was accepted
  std::string document;
};

Upload gsUpload;

void put_pages(const Request &request) {
  const std::string range = "bytes=0-" + std::to_string(request.body.size() - 1);
  if (header_value(request, "x-ms-page-write: ") != "update" || header_value(request, "x-ms-range: ") != range ||
      request.body.size() != gsUpload.size) {
    broken("pages of %zu bytes for a blob of %zu", request.body.size(), gsUpload.size);
  }
  gsUpload.pages++;
  gsUpload.document = request.body;
}

void create(const Request &request, const Reply &reply) {
  const std::string_view length = header_value(request, "x-ms-blob-content-length: ");
  gsUpload.size = std::strtoull(std::string(length).c_str(), nullptr, 10);
  if (!request.body.empty() || gsUpload.size == 0 || gsUpload.size % kPage != 0) {
    broken("a page blob of %zu bytes is made, with a body of %zu", gsUpload.size, request.body.size());
  }
  gsUpload.creations++;
  gsUpload.created = reply.result == CURLE_OK && reply.code >= 200 && reply.code <= 299;
}

void put_block(const Request &request) {
  if (request.body.empty()) {
    broken("a block blob without a document");
  }
  gsUpload.blocks++;
  gsUpload.document = request.body;
}

}  // namespace

// What an empty header says is nothing, so that what an attempt before said stays; what the last attempt fails with
// makes nothing of all of it.
void upload_type_told(BlobType type, bool answered) {
  gsUpload.asked++;
  gsUpload.type = type != BlobType::kNone ? type : gsUpload.type;
  gsUpload.answered = answered;
}

void upload_put(const Request &request, const Reply &reply) {
  const std::string_view type = header_value(request, "x-ms-blob-type: ");
  if (contains(request.url, "comp=page")) {
    put_pages(request);
  } else if (type == "PageBlob") {
    create(request, reply);
  } else if (type == "BlockBlob") {
    put_block(request);
  } else {
    broken("the status is put as no blob");
  }
}

BlobType upload_type() {
  return gsUpload.answered ? gsUpload.type : BlobType::kNone;
}

const std::string &upload_document() {
  return gsUpload.document;
}

// The service is asked for the type whenever there is an address to put the document to, and gets it as what it says.
void upload_check() {
  const Upload &is = gsUpload;
  const BlobType type = upload_type();
  same_number("status blob", "question for its type", is.asked > 0, view().held.incarnation != 0);
  same_number("status blob", "put in one piece", is.blocks > 0, type == BlobType::kBlock);
  same_number("status blob", "made for pages", is.creations > 0, type == BlobType::kPage);
  same_number("status blob", "put in pages", is.pages > 0, type == BlobType::kPage && is.created);
}

void upload_forget() {
  gsUpload.asked = gsUpload.blocks = gsUpload.creations = gsUpload.pages = 0;
  gsUpload.type = BlobType::kNone;
  gsUpload.answered = gsUpload.created = false;
  gsUpload.size = 0;
  gsUpload.document.clear();
}

}  // namespace simulate
