#include "tools/fabric/expectations_documents.h"

#include <algorithm>

#include "tools/fabric/bytes.h"
#include "tools/fabric/json_match.h"

namespace kelvane::fabric {

namespace {

std::string number_mismatch(const std::string &what, int64_t expected, int64_t came) {
  if (expected == came) return "";
  return what + ": expected " + std::to_string(expected) + ", came " + std::to_string(came);
}

std::string text_mismatch(const std::string &what, const std::string &expected, const std::string &came) {
  if (expected == came) return "";
  size_t at = 0;
  while (at < expected.size() && at < came.size() && expected[at] == came[at]) at++;
  return what + ": expected " + in_quotes(expected) + ", came " + in_quotes(came) + ", different from byte " +
         std::to_string(at) + " on";
}

// A page blob's document ends where the zeros of its last page begin.
std::string document_of(const std::string &type, const std::string &content) {
  return type == kPageBlob ? content.substr(0, content.find_last_not_of('\0') + 1) : content;
}

}  // namespace

std::string content_mismatch(const ContentSpec &spec, const std::string &type, const std::string &content) {
  std::string why;
  if (spec.type) why = text_mismatch("type", *spec.type, type);
  if (why.empty() && spec.size) why = number_mismatch("size", *spec.size, static_cast<int64_t>(content.size()));
  if (why.empty() && spec.bytes) why = text_mismatch("bytes", *spec.bytes, content);
  if (why.empty() && spec.json) why = json_mismatch(*spec.json, document_of(type, content), Members::kAll);
  if (why.empty() && spec.includes) why = json_mismatch(*spec.includes, document_of(type, content), Members::kNamed);
  return why;
}

namespace {

std::string upload_mismatch(const ContentSpec &spec, const Upload &upload) {
  if (spec.blob && !glob_match(*spec.blob, upload.key))
    return "blob: expected " + in_quotes(*spec.blob) + ", came " + in_quotes(upload.key);
  std::string why = spec.writes ? number_mismatch("writes", *spec.writes, upload.writes) : "";
  return why.empty() ? content_mismatch(spec, upload.type, upload.content) : why;
}

using Uploads = std::vector<const Upload *>;

Finding count_finding(const std::string &label, const DocumentsExpectSpec &spec, int64_t came) {
  int64_t low = spec.count.value_or(spec.at_least.value_or(0));
  int64_t high = spec.count.value_or(spec.at_most.value_or(INT64_MAX));
  std::string expected = std::to_string(low) + (high == INT64_MAX ? " or more" : " to " + std::to_string(high));
  return {label + " documents", came >= low && came <= high, "expected " + expected + ", came " + std::to_string(came)};
}

Finding last_finding(const std::string &label, const ContentSpec &spec, const Uploads &uploads) {
  std::string why = uploads.empty() ? "no document was uploaded" : upload_mismatch(spec, *uploads.back());
  return {label + ", the last document", why.empty(), why.empty() ? "it came as expected" : why};
}

Finding all_finding(const std::string &label, const std::vector<ContentSpec> &specs, const Uploads &uploads) {
  Finding finding{label + ", all documents", true, std::to_string(specs.size()) + " came as expected"};
  for (size_t i = 0; i < std::max(specs.size(), uploads.size()) && finding.held; i++) {
    std::string why;
    if (i >= uploads.size())
      why = "expected, but no more came";
    else
      why = i >= specs.size() ? "came, but no more were expected" : upload_mismatch(specs[i], *uploads[i]);
    if (!why.empty()) finding = {finding.name, false, "document " + std::to_string(i + 1) + ": " + why};
  }
  return finding;
}

Finding ordered_finding(const std::string &label, const std::vector<ContentSpec> &specs, const Uploads &uploads) {
  size_t at = 0;
  for (size_t i = 0; i < specs.size(); i++) {
    const std::string why = at < uploads.size() ? upload_mismatch(specs[i], *uploads[at]) : "none was left";
    while (at < uploads.size() && !upload_mismatch(specs[i], *uploads[at]).empty()) at++;
    if (at++ >= uploads.size())
      return {label + ", in order", false,
              "expectation " + std::to_string(i + 1) + ": no document fits; the first of those left: " + why};
  }
  return {label + ", in order", true, std::to_string(specs.size()) + " came as expected"};
}

}  // namespace

void judge_documents(const std::string &label, const DocumentsExpectSpec &spec, const std::vector<Upload> &uploads,
                     Verdict &verdict) {
  Uploads complete;
  for (const Upload &upload : uploads)
    if (upload.complete()) complete.push_back(&upload);
  if (spec.count || spec.at_least || spec.at_most)
    verdict.findings.push_back(count_finding(label, spec, static_cast<int64_t>(complete.size())));
  if (spec.incomplete) {
    auto broken = static_cast<int64_t>(uploads.size() - complete.size());
    std::string why = number_mismatch("incomplete", *spec.incomplete, broken);
    verdict.findings.push_back({label + ", incomplete documents", why.empty(), why.empty() ? "as expected" : why});
  }
  if (spec.last) verdict.findings.push_back(last_finding(label, *spec.last, complete));
  if (spec.documents) verdict.findings.push_back(all_finding(label, *spec.documents, complete));
  if (!spec.in_order.empty()) verdict.findings.push_back(ordered_finding(label, spec.in_order, complete));
}

}  // namespace kelvane::fabric
