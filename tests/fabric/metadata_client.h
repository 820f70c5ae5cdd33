// What the agent sends to the metadata service, byte by byte, and a certificate of its own to send. For the fabric's
// tests alone; every call blocks as the program's exchange does, making a key pair takes a second.
#ifndef KELVANE_TESTS_FABRIC_METADATA_CLIENT_H
#define KELVANE_TESTS_FABRIC_METADATA_CLIENT_H

#include <string>

#include "tests/fabric/fabric_program.h"

namespace kelvane::fabric_test {

inline const std::string kMetadataRoot = "http://169.254.169.254/Microsoft.Compute/";
inline const std::string kMetadataVersion = "?api-version=2015-05-01-preview";

// The whole URL, for those that the service tells.
inline Reply fetch(const FabricProgram &fabric, const std::string &url, const std::string &headers = "") {
  return fabric.exchange("GET " + url + " HTTP/1.1\r\nHost: 169.254.169.254\r\n" + headers + "\r\n");
}

inline Reply fetch_resource(const FabricProgram &fabric, const std::string &resource, const std::string &headers = "") {
  return fetch(fabric, kMetadataRoot + resource + kMetadataVersion, headers);
}

inline Reply put_resource(const FabricProgram &fabric, const std::string &resource, const std::string &body,
                          const std::string &headers = "Content-Type: application/json\r\n") {
  return fabric.exchange("PUT " + kMetadataRoot + resource + kMetadataVersion +
                         " HTTP/1.1\r\nHost: 169.254.169.254\r\n" + headers +
                         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
}

// A key pair in a folder of its own, made with the openssl program.
struct AgentCertificate {
  AgentCertificate() {
    run_command("openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=agent -keyout " + key + " -out " + certificate);
    header = "x-ms-vmagent-public-x509-cert: " +
             run_command("openssl x509 -outform DER -in " + certificate + " | base64 -w0") + "\r\n";
  }

  TempDir folder;
  std::string key = folder.file("key.pem");
  std::string certificate = folder.file("cert.pem");
  std::string header;  // as the agent sends it, with its line end
};

}  // namespace kelvane::fabric_test

#endif
