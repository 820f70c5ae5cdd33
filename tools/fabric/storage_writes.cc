#include "tools/fabric/bytes.h"
#include "tools/fabric/storage_service_parts.h"

namespace kelvane::fabric {

namespace {

constexpr size_t kMostPerWrite = 4 * 1048576;
constexpr char kBlobLength[] = "x-ms-blob-content-length";

std::string number_text(size_t number) {
  return std::to_string(number);
}

std::optional<Answer> refuse_length(const StorageCall &call) {
  if (find_header(call.request.headers, "Content-Length") != nullptr) return std::nullopt;
  return storage_complaint({"MissingContentLengthHeader", "header Content-Length", "a length", "no such header"},
                           call.judgement);
}

// A blob keeps its type for as long as it is there.
std::optional<Answer> refuse_type(const StorageCall &call, const std::string &type) {
  const Blob *blob = call.world.storage.find(call.key);
  if (blob == nullptr || blob->type == type) return std::nullopt;
  return storage_complaint({"InvalidBlobType", "blob type", blob->type + ", which the blob is", type}, call.judgement);
}

// An answer that writes once it has arrived.
template <typename Write>
Answer created(Write write) {
  Answer answer = storage_answer(201);
  answer.delivered = std::move(write);
  return answer;
}

Answer put_block_blob(const StorageCall &call) {
  if (const std::string *length = find_header(call.request.headers, kBlobLength))
    return wrong_header(kBlobLength, "no such header for a block blob", *length, call.judgement);
  return created(
      [&world = call.world, key = call.key, body = call.request.body] { world.storage.put_block_blob(key, body); });
}

Answer put_page_blob(const StorageCall &call) {
  const std::string expected = "a multiple of 512, at most " + std::to_string(StorageSpec::kLargest);
  const std::string *text = find_header(call.request.headers, kBlobLength);
  if (text == nullptr) return missing_header(kBlobLength, expected, call.judgement);
  auto length = decimal_number(*text);
  if (!length || *length % static_cast<int64_t>(kPage) != 0 || *length > StorageSpec::kLargest)
    return wrong_header(kBlobLength, expected, *text, call.judgement);
  if (!call.request.body.empty())
    return wrong_header("Content-Length", "\"0\": a page blob is created without a body",
                        number_text(call.request.body.size()), call.judgement);
  return created([&world = call.world, key = call.key, size = static_cast<size_t>(*length)] {
    world.storage.put_page_blob(key, size);
  });
}

std::optional<Answer> refuse_page_write(const StorageCall &call) {
  const std::string *write = find_header(call.request.headers, "x-ms-page-write");
  if (write == nullptr) return missing_header("x-ms-page-write", "\"update\"", call.judgement);
  if (*write != "update") return wrong_header("x-ms-page-write", "\"update\"", *write, call.judgement);
  return std::nullopt;
}

std::optional<Answer> refuse_range(const StorageCall &call, const ByteRange &range, const Blob &blob) {
  const std::string came = "bytes " + number_text(range.first) + " to " + number_text(range.last);
  const size_t length = range.last - range.first + 1;
  if (range.first % kPage != 0 || length % kPage != 0)
    return storage_complaint({"InvalidPageRange", "page range", "whole pages of 512 bytes", came}, call.judgement);
  if (length > kMostPerWrite)
    return storage_complaint({"RequestBodyTooLarge", "page range", "at most 4194304 bytes", came}, call.judgement);
  if (range.last >= blob.content.size())
    return storage_complaint(
        {"InvalidPageRange", "page range", "pages of a blob of " + number_text(blob.content.size()) + " bytes", came},
        call.judgement);
  if (call.request.body.size() != length)
    return wrong_header("Content-Length", in_quotes(number_text(length)) + ", as the range says",
                        number_text(call.request.body.size()), call.judgement);
  return std::nullopt;
}

}  // namespace

const std::string *range_header(const Request &request) {
  const std::string *range = find_header(request.headers, "x-ms-range");
  return range != nullptr ? range : find_header(request.headers, "Range");
}

std::optional<ByteRange> parse_range(const std::string &text) {
  const std::string unit = "bytes=";
  const size_t dash = text.find('-');
  if (text.compare(0, unit.size(), unit) != 0 || dash == std::string::npos) return std::nullopt;
  auto first = decimal_number(text.substr(unit.size(), dash - unit.size()));
  auto last = decimal_number(text.substr(dash + 1));
  if (!first || !last || *first > *last) return std::nullopt;
  return ByteRange{static_cast<size_t>(*first), static_cast<size_t>(*last)};
}

Answer put_blob(const StorageCall &call) {
  const std::string expected = "\"BlockBlob\" or \"PageBlob\"";
  const std::string *type = find_header(call.request.headers, "x-ms-blob-type");
  if (type == nullptr) return missing_header("x-ms-blob-type", expected, call.judgement);
  if (*type != kBlockBlob && *type != kPageBlob) return wrong_header("x-ms-blob-type", expected, *type, call.judgement);
  std::optional<Answer> refusal = refuse_length(call);
  if (!refusal) refusal = refuse_type(call, *type);
  if (refusal) return *refusal;
  return *type == kPageBlob ? put_page_blob(call) : put_block_blob(call);
}

Answer put_pages(const StorageCall &call) {
  const std::string expected = "\"bytes=FIRST-LAST\"";
  const Blob *blob = call.world.storage.find(call.key);
  if (blob == nullptr)
    return storage_complaint({"BlobNotFound", "blob", "to be created first", "none"}, call.judgement);
  std::optional<Answer> refusal = refuse_type(call, kPageBlob);
  if (!refusal) refusal = refuse_length(call);
  if (!refusal) refusal = refuse_page_write(call);
  if (refusal) return *refusal;
  const std::string *header = range_header(call.request);
  if (header == nullptr) return missing_header("x-ms-range", expected, call.judgement);
  auto range = parse_range(*header);
  if (!range) return wrong_header("x-ms-range", expected, *header, call.judgement);
  refusal = refuse_range(call, *range, *blob);
  if (refusal) return *refusal;
  return created([&world = call.world, key = call.key, first = range->first, body = call.request.body] {
    world.storage.put_pages(key, first, body);
  });
}

}  // namespace kelvane::fabric
