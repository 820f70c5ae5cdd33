#include "tools/fabric/storage_answers.h"

#include <array>

#include "tools/fabric/bytes.h"

namespace kelvane::fabric {

namespace {

struct Row {
  const char *code;
  int status;
  const char *message;
};

constexpr std::array kRows{
    Row{"AuthenticationFailed", 403,
        "Server failed to authenticate the request. Make sure the value of the Authorization header is formed "
        "correctly including the signature."},
    Row{"AuthorizationPermissionMismatch", 403,
        "This request is not authorized to perform this operation using this permission."},
    Row{"BlobNotFound", 404, "The specified blob does not exist."},
    Row{"ContainerNotFound", 404, "The specified container does not exist."},
    Row{"InvalidBlobType", 409, "The blob type is invalid for this operation."},
    Row{"InvalidHeaderValue", 400, "The value for one of the HTTP headers is not in the correct format."},
    Row{"InvalidPageRange", 416, "The page range specified is invalid."},
    Row{"InvalidQueryParameterValue", 400,
        "Value for one of the query parameters specified in the request URI is invalid."},
    Row{"InvalidRange", 416, "The range specified is invalid for the current size of the resource."},
    Row{"InvalidUri", 400, "The requested URI does not represent any resource on the server."},
    Row{"MissingContentLengthHeader", 411, "The Content-Length header was not specified."},
    Row{"MissingRequiredHeader", 400, "An HTTP header that's mandatory for this request is not specified."},
    Row{"RequestBodyTooLarge", 413, "The size of the request body exceeds the maximum size permitted."},
    Row{"UnsupportedHttpVerb", 405, "The resource doesn't support specified Http Verb."},
};

const Row &row_of(const std::string &code) {
  static constexpr Row kInternal{"InternalError", 500, "The server encountered an internal error."};
  for (const Row &row : kRows)
    if (code == row.code) return row;
  return kInternal;
}

std::string element(const std::string &name, const std::string &text) {
  return "<" + name + ">" + xml_escape(text) + "</" + name + ">";
}

}  // namespace

Answer storage_answer(int status, const Blob *blob) {
  Answer answer{
      .status = status,
      .headers = {{"x-ms-version", "2014-02-14"}, {"x-ms-request-id", "kelvane-fabric"}, {"Date", http_date()}}};
  if (blob == nullptr) return answer;
  answer.headers.push_back({"ETag", blob->etag});
  answer.headers.push_back({"Last-Modified", blob->modified});
  return answer;
}

Answer storage_error(const std::string &code, const std::vector<Header> &details) {
  const Row &row = row_of(code);
  Answer answer = storage_answer(row.status);
  answer.headers.push_back({"x-ms-error-code", row.code});
  answer.headers.push_back({"Content-Type", "application/xml"});
  answer.body =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?><Error>" + element("Code", row.code) + element("Message", row.message);
  for (const Header &detail : details) answer.body += element(detail.name, detail.value);
  answer.body += "</Error>";
  return answer;
}

Answer storage_complaint(const Complaint &complaint, Judgement &judgement) {
  judgement.add(complaint.what, complaint.expected, complaint.came);
  return storage_error(complaint.code, {{"Explanation", judgement.explanation()}});
}

Answer missing_header(const std::string &name, const std::string &expected, Judgement &judgement) {
  judgement.add("header " + name, expected, "no such header");
  return storage_error("MissingRequiredHeader", {{"HeaderName", name}, {"Explanation", judgement.explanation()}});
}

Answer wrong_header(const std::string &name, const std::string &expected, const std::string &came,
                    Judgement &judgement) {
  judgement.add("header " + name, expected, in_quotes(came));
  return storage_error("InvalidHeaderValue",
                       {{"HeaderName", name}, {"HeaderValue", came}, {"Explanation", judgement.explanation()}});
}

}  // namespace kelvane::fabric
