#include "tools/fabric/judge.h"

#include <openssl/err.h>

#include <algorithm>

#include "tools/fabric/bytes.h"

namespace kelvane::fabric {

namespace {

constexpr char kAgentName[] = "TorvikGuest";
constexpr char kVersion[] = "2012-11-30";
constexpr char kCipher[] = "DES_EDE3_CBC";
constexpr char kCertificateHeader[] = "x-ms-guest-agent-public-x509-cert";

bool is_signed_by_itself(X509 *certificate) {
  EVP_PKEY *key = X509_get0_pubkey(certificate);
  bool good = key != nullptr && EVP_PKEY_base_id(key) == EVP_PKEY_RSA && X509_verify(certificate, key) == 1;
  ERR_clear_error();
  return good;
}

}  // namespace

void Judgement::add(std::string what, std::string expected, std::string came) {
  violations.push_back({std::move(what), std::move(expected), std::move(came)});
}

std::string Judgement::explanation() const {
  std::string out;
  for (const Violation &violation : violations)
    out += violation.what + ": expected " + violation.expected + ", came " + violation.came + "\n";
  return out;
}

void judge_header(const Request &request, const std::string &name, const std::string &value, Judgement &judgement) {
  const std::string *found = find_header(request.headers, name);
  if (found == nullptr)
    judgement.add("header " + name, in_quotes(value), "no such header");
  else if (*found != value)
    judgement.add("header " + name, in_quotes(value), in_quotes(*found));
  auto same = [&](const Header &header) { return find_header({header}, name) != nullptr; };
  const auto count = std::count_if(request.headers.begin(), request.headers.end(), same);
  if (count > 1) judgement.add("header " + name, "one", std::to_string(count));
}

void judge_method(const Request &request, const std::string &method, Judgement &judgement) {
  if (request.method != method) judgement.add("method", method, request.method);
}

void judge_agent_headers(const Request &request, Judgement &judgement) {
  judge_header(request, "x-ms-agent-name", kAgentName, judgement);
  judge_header(request, "x-ms-version", kVersion, judgement);
}

void judge_content_type(const Request &request, Judgement &judgement) {
  const std::string *found = find_header(request.headers, "Content-Type");
  std::string value = found == nullptr ? "" : *found;
  // The telemetry writes a space behind the semicolon, the reports do not; both are right.
  value.erase(std::remove(value.begin(), value.end(), ' '), value.end());
  if (value != "text/xml;charset=utf-8")
    judgement.add("header Content-Type", "\"text/xml;charset=utf-8\"",
                  found == nullptr ? "no such header" : in_quotes(*found));
}

X509Ptr judge_certificate_headers(const Request &request, Judgement &judgement) {
  judge_header(request, "x-ms-cipher-name", kCipher, judgement);
  return judge_certificate(request, kCertificateHeader, judgement);
}

X509Ptr judge_certificate(const Request &request, const std::string &name, Judgement &judgement) {
  const std::string what = "header " + name;
  const std::string expected = "a self-signed RSA certificate, its DER in base64 on one line";
  const std::string *text = find_header(request.headers, name);
  if (text == nullptr) {
    judgement.add(what, expected, "no such header");
    return nullptr;
  }
  auto der = base64_decode(*text);
  X509Ptr certificate = der ? certificate_from_der(*der) : nullptr;
  if (certificate != nullptr && is_signed_by_itself(certificate.get())) return certificate;
  judgement.add(what, expected,
                (certificate == nullptr ? "no certificate: " : "another certificate: ") + in_quotes(*text));
  return nullptr;
}

void judge_no_body(const Request &request, Judgement &judgement) {
  if (!request.body.empty()) judgement.add("body", "none", std::to_string(request.body.size()) + " bytes");
}

}  // namespace kelvane::fabric
