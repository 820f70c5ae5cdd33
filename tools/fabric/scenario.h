// What one scenario file says, as plain records with every default filled in. Read once at start; the fabric's state
// comes from here and from nowhere else. Reading blocks on the file alone; a file that cannot be read, is not JSON, or
// says something the fabric does not understand throws ScenarioError, which names the place and the key. The keys of
// other programs (`appliance`, `agent`, unknown top-level keys, unknown keys of `expect`) are left alone.
#ifndef KELVANE_TOOLS_FABRIC_SCENARIO_H
#define KELVANE_TOOLS_FABRIC_SCENARIO_H

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tools/fabric/http.h"

namespace kelvane::fabric {

struct ScenarioError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One SSH key of the provisioning document. The `_of` members name a certificate of the tenant.
struct PublicKeySpec {
  std::optional<std::string> fingerprint;
  std::optional<std::string> fingerprint_of;
  std::optional<std::string> value;
  std::optional<std::string> value_of;
  std::optional<std::string> path;
};

struct OvfSpec {
  std::optional<std::string> host_name;
  std::optional<std::string> user_name;
  std::optional<std::string> user_password;
  std::vector<PublicKeySpec> public_keys;
  std::optional<std::string> custom_data;  // the bytes of CustomData.bin
  std::vector<std::string> omit;           // elements left out of the document
  bool namespaces = true;
  std::optional<std::string> text;  // the whole document, when it is given as it is
};

struct CertificateSpec {
  std::string name = {};
  std::string common_name = {};
  int64_t bits = 2048;
  bool private_key = true;
  bool local_key_id = true;
};

struct ContainerSpec {
  std::string order = "certificates-first";
  bool nested = false;
  std::string password;
  int iterations = 2000;  // of each derivation of a key
  std::string certificate_cipher = "rc2-40";
  std::string key_cipher = "3des";
  std::string wrap = "request";
  std::string content = "pkcs12";
};

// How the base64 text stands in the certificates document.
struct DataLinesSpec {
  int64_t line_length = 64;
  std::string indent;
  bool leading_newline = true;
  bool trailing_newline = true;
};

struct TenantSpec {
  std::vector<CertificateSpec> certificates;
  ContainerSpec container;
  DataLinesSpec document;
};

// One runtime settings element of an extension.
struct SettingsSpec {
  std::optional<int64_t> sequence_number = 0;     // none: without the attribute
  std::optional<std::string> public_settings;     // JSON text
  std::optional<std::string> protected_settings;  // JSON text, encrypted when the document is made
  std::optional<std::string> certificate;         // whose key it is encrypted to
  bool transport = false;                         // encrypted to the certificate that the agent sent last
  bool tell_thumbprint = true;
  std::optional<std::string> thumbprint;     // in place of that certificate's
  std::optional<std::string> thumbprint_of;  // that of another certificate
  bool thumbprint_lower_case = false;
  std::optional<std::string> sealed_by;         // the openssl program's command that encrypts; none: the library
  std::optional<std::string> runtime_settings;  // the whole text, when it is given as it is
};

struct ExtensionSpec {
  std::string name;
  std::string version;
  std::string state = "enabled";
  std::vector<Header> attributes;      // further attributes of the plugin, in the document as they are
  std::vector<SettingsSpec> settings;  // none: no entry under the plugin settings
  std::string settings_version;        // of the entry under the plugin settings
};

struct StatusBlobSpec {
  std::string url =
      "http://storage.example.invalid/status/kelvane.status"
      "?sv=2014-02-14&sr=b&sig=ZmFicmlj&se=2099-12-31T00%3A00%3A00Z&sp=rw";
  std::optional<std::string> type = "BlockBlob";
  bool escaped_twice = false;
};

// Moves on to the next goal state after so many requests that fit and were answered whole; 0 means never.
struct AdvanceSpec {
  std::string method;  // empty means any
  std::string target = "*";
  int64_t count = 0;
};

// A blob that is there from the start.
struct BlobSpec {
  std::string host;
  std::string name;  // container/blob
  std::string type = "BlockBlob";
  std::string content;
};

struct StorageSpec {
  std::vector<std::string> hosts;                    // beside those of the status blobs
  bool signatures = true;                            // false: addresses need not be signed
  std::optional<std::vector<BlobSpec>> blobs;        // absent: every status blob, of its announced type
  static constexpr int64_t kLargest = 64 * 1048576;  // of a page blob
};

// How an answer tells its ETag.
struct ETagSpec {
  bool told = true;
  std::optional<Header> header;  // none: one that the incarnation makes
};

// What the metadata service tells of one extension otherwise than its extension says. Values are JSON texts.
struct HandlerSpec {
  std::optional<std::string> upgrade_policy;
  std::optional<std::vector<std::string>> version_uris;
  std::vector<std::pair<std::string, std::string>> set;  // JSON pointer, value
  std::vector<std::string> omit;                         // JSON pointers
};

// One document that the list of certificates names.
struct CertificateDocumentSpec {
  std::optional<std::vector<std::string>> certificates;  // names; those of the goal state when absent
  ContainerSpec container;
  std::optional<std::string> text;  // the whole document, when it is given as it is
};

// The metadata service. Documents that are given as they are stand as their texts.
struct MetadataSpec {
  std::optional<std::string> identity, agent_versions, certificate_list, extension_handlers;
  std::optional<std::vector<CertificateDocumentSpec>> certificates;  // absent: one for each of the goal state
  ContainerSpec container;                                           // of those
  std::map<std::string, HandlerSpec> handlers;                       // by the name of the extension
  ETagSpec handlers_etag, versions_etag;
};

struct GoalStateSpec {
  std::string incarnation;
  std::string expected_state = "Started";
  std::string container_id = "7f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27";
  std::string instance_id = "kelvane-role_IN_0";
  std::string config_name = "7f0c9a1e-52d4-4c0b-9f6e-0d3c5a8b1e27.0.kelvane-role_IN_0.1.xml";
  std::string port = "16001";
  std::vector<std::string> omit;
  std::optional<std::vector<std::string>> certificates;  // names; all of the tenant's when absent
  std::vector<ExtensionSpec> extensions;
  std::optional<StatusBlobSpec> status_blob;
  std::optional<MetadataSpec> metadata;  // none: there is no such service
  int64_t advance_after = 0;  // goal states delivered before the next one takes over; 0 means never by itself
  AdvanceSpec advance_on;
};

// A fault and the requests it befalls: of those that fit, the ones from number `occurrence` on, `times` of them.
struct FaultSpec {
  std::string name;
  std::string kind;
  std::string method;  // empty means any
  std::string target = "*";
  int64_t occurrence = 1;
  int64_t times = 1;  // 0 means without end
  bool enabled = true;
  int64_t status = 503;
  std::string body;
  int64_t milliseconds = 0;
  int64_t bytes = 0;  // after how many bytes, or how many bytes, by kind
  int64_t megabytes = 1;
  bool full_length = true;  // `cut`: whether Content-Length still tells the whole length
  int64_t length_change = 0;
  std::string element;
  std::string header;                // `header`: its name
  std::optional<std::string> value;  // `header`: its new value; none: the header is left out
};

// What one expected request must look like; what is absent is not looked at.
struct RequestMatcher {
  std::string name;
  std::optional<std::string> method;
  std::optional<std::string> target;           // a pattern
  std::optional<std::vector<Header>> headers;  // all of them, in order; the value "*" fits any
  std::vector<Header> headers_include;
  std::optional<std::string> body;
  std::vector<std::string> body_contains;
  std::vector<std::pair<std::string, std::string>> xpath;  // expression, text
  std::optional<int64_t> status;
  std::optional<std::string> fault;
  std::optional<int64_t> count, at_least, at_most;
};

struct HealthSpec {
  std::string state;
  std::optional<std::string> substatus;
  std::optional<std::string> description;
};

// What a document or a blob must hold; what is absent is not looked at.
struct ContentSpec {
  std::optional<std::string> bytes;     // exactly
  std::optional<std::string> json;      // JSON text: the same, apart from wildcards
  std::optional<std::string> includes;  // JSON text: of objects, the members that are named here
  std::optional<std::string> type;
  std::optional<std::string> blob;  // a pattern of host/container/blob
  std::optional<int64_t> size, writes;
};

// What is expected of the documents of one kind.
struct DocumentsExpectSpec {
  std::optional<int64_t> count, at_least, at_most, incomplete;
  std::optional<ContentSpec> last;
  std::optional<std::vector<ContentSpec>> documents;  // all of them
  std::vector<ContentSpec> in_order;                  // others may stand between
};

struct BlobExpectSpec {
  std::string host;
  std::string name;
  bool absent = false;
  ContentSpec content;
};

struct EventSpec {
  std::optional<std::string> name, operation, version, message;
  std::optional<bool> success;
  std::optional<int64_t> duration;
};

struct EventsExpectSpec {
  std::vector<EventSpec> events;
  bool others_between = false;
};

// What is expected of the documents that the metadata service was sent.
struct MetadataExpectSpec {
  std::optional<DocumentsExpectSpec> provisioning, vm_status, extension_status, telemetry;
};

struct ExpectSpec {
  std::string order = "ordered";
  std::vector<RequestMatcher> requests;
  bool requests_given = false;
  std::optional<std::vector<HealthSpec>> health;
  std::optional<std::vector<std::string>> thumbprints;  // of the role properties
  std::optional<int64_t> goal_states;
  int64_t violations = 0;
  std::optional<EventsExpectSpec> events;
  std::optional<DocumentsExpectSpec> status;
  MetadataExpectSpec metadata;
  std::vector<BlobExpectSpec> blobs;
};

struct Scenario {
  std::string name = "default";
  std::string description;
  std::string endpoint = "168.63.129.16";  // empty: no wire server
  OvfSpec ovf;
  TenantSpec tenant;
  std::vector<GoalStateSpec> goal_states;
  StorageSpec storage;
  std::vector<FaultSpec> faults;
  ExpectSpec expect;
};

// The scenario of a file, or of a text (`origin` names it in errors).
Scenario read_scenario(const std::string &path);
Scenario parse_scenario(const std::string &text, const std::string &origin);

// One fault from its JSON text, as a control request carries it.
FaultSpec parse_fault_text(const std::string &text);

}  // namespace kelvane::fabric

#endif
