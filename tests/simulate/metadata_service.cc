#include "tests/simulate/metadata_service.h"

#include "tests/simulate/documents.h"
#include "tests/simulate/faults.h"
#include "tests/simulate/secrets.h"
#include "tests/simulate/wanted.h"

namespace simulate {

namespace {

constexpr char kBase[] = "http://169.254.169.254/Microsoft.Compute/";
constexpr char kCertificateHeader[] = "x-ms-vmagent-public-x509-cert: ";
constexpr char kVersion[] = "?api-version=2015-05-01-preview";
constexpr char kIdentity[] = "{\"subscriptionId\": \"c0ffee\", \"vmName\": \"appliance\"}";
constexpr char kNoCertificates[] = "{\"certificates\": []}";
constexpr char kCertificates[] =
    "{\"certificates\": [{\"certificateDataUri\": "
    "\"http://169.254.169.254/Microsoft.Compute/certificateData/0?api-version=2015-05-01-preview\"}]}";
// For somebody else: what it holds cannot be read.
constexpr char kForeignData[] = "MIIBVAYJKoZIhvcNAQcDoIIBRTCCAUECAQAxggEwMIIBLAIBADAUMA8xDTALBgNVBAMMBHdpcmUCAQEwDQYJ";
constexpr char kError[] = "{\"error\": {\"code\": \"TryAgain\", \"message\": \"the server is busy\"}}";

// ---- the list of handlers --------------------------------------------------------------------------------------

std::string public_settings(const Wanted &wanted) {
  if (wanted.settings == Settings::kNoJson) {
    return "\"settings: { not json\"";
  }
  const std::string command = command_of(wanted);
  return command.empty() ? "{\"note\": \"no command\"}" : "{\"commandToExecute\": \"" + command + "\"}";
}

std::string extension(const Wanted &wanted) {
  if (wanted.settings == Settings::kNoEntry) {
    return "";
  }
  const bool secret = wanted.settings > Settings::kPublicOnly;
  return "{\"name\": \"" + settings_name_of(wanted.name) +
         "\", \"sequenceNumber\": " + std::to_string(wanted.sequence_number) +
         ", \"publicSettings\": " + public_settings(wanted) +
         (secret ? ", \"protectedSettings\": \"" + protected_text(wanted) + "\", \"certificateThumbprint\": \"" +
                       secrets_thumbprint() + "\""
                 : "") +
         "}";
}

std::string handler(const Wanted &wanted) {
  return "{\"name\": \"" + std::string(kNameTexts[wanted.name]) + "\", \"properties\": {\"version\": \"" +
         wanted.version + "\", \"state\": \"" + asked_text(wanted) + "\", \"upgradePolicy\": \"auto\", " +
         "\"extensions\": [" + extension(wanted) + "]}, \"versionUris\": [{\"uri\": \"http://example.net/a\"}]}";
}

std::string render_handlers(const Revision &revision) {
  std::string list;
  for (int i = 0; i < revision.count; i++) {
    list += (i > 0 ? ", " : "") + handler(revision.wanted[i]);
  }
  return "[" + list + "]";
}

// ---- answers ---------------------------------------------------------------------------------------------------

// One in thirty is without an ETag.
std::string_view etag_line(std::string *line, const Revision &revision) {
  if (world().dice.below(30) == 0) {
    return {};
  }
  *line = (world().dice.percent(50) ? "ETag: \"" : "etag:\"") + std::to_string(revision.incarnation) + "\"\r\n";
  return *line;
}

Reply answer_handlers(const Request &request) {
  static std::string line;
  static std::string old_line;
  const World &w = world();
  check_transport_certificate(request, kCertificateHeader);
  return answer_document(request, "handlers",
                         {handlers_document(w.current), etag_line(&line, w.current), handlers_document(w.previous),
                          etag_line(&old_line, w.previous), kError});
}

Reply answer_json(const Request &request, const char *what, std::string_view body) {
  return answer_document(request, what, {body, {}, {}, {}, kError});
}

Reply answer_identity(const Request &request) {
  return answer_json(request, "identity", kIdentity);
}

// Mostly none: each one that can be read costs a decryption.
Reply answer_certificates(const Request &request) {
  return answer_json(request, "certificates", world().dice.percent(5) ? kCertificates : kNoCertificates);
}

Reply answer_certificate_data(const Request &request) {
  check_transport_certificate(request, kCertificateHeader);
  return answer_json(request, "certificate data", certificate_data_document(world().current));
}

Reply answer_put(const Request &request) {
  if (request.method != Method::kPut) {
    broken("a report that is no PUT: %.*s", static_cast<int>(request.url.size()), request.url.data());
  }
  return answer_plain(request, "report", 200);
}

constexpr Route kRoutes[] = {
    {"extensionHandlers", answer_handlers},
    {"certificates", answer_certificates},
    {"status/vmagent", answer_put},
    {"status/extensions/", answer_put},
    {"certificateData/0", answer_certificate_data},
    {"identity", answer_identity},
    {"provisioningStatus", answer_put},
};

bool starts_with(std::string_view text, std::string_view part) {
  return text.substr(0, part.size()) == part;
}

}  // namespace

const Route *metadata_route(std::string_view url) {
  if (!starts_with(url, kBase) || url.size() < sizeof kVersion ||
      url.substr(url.size() - (sizeof kVersion - 1)) != kVersion) {
    return nullptr;
  }
  const std::string_view resource = url.substr(sizeof kBase - 1);
  for (const Route &route : kRoutes) {
    const std::string_view part = route.part;
    if (starts_with(resource, part) && (part.back() == '/' || resource[part.size()] == '?')) {
      return &route;
    }
  }
  return nullptr;
}

const std::string &handlers_document(const Revision &revision) {
  static Rendered slots[2];
  return kept(slots, revision, render_handlers);
}

const std::string &certificate_data_document(const Revision &revision) {
  static const std::string foreign = std::string("{\"certificateData\": \"") + kForeignData + "\"}";
  static const std::string readable = "{\"certificateData\": \"" + secrets_container() + "\"}";
  return revision.readable ? readable : foreign;
}

std::string_view metadata_error_document() {
  return kError;
}

std::string_view metadata_certificate_list() {
  return kCertificates;
}

std::string settings_name_of(int row) {
  return "settings-of-" + std::to_string(row);
}

}  // namespace simulate
