// What the agent sends to the storage service and to the telemetry, byte by byte, with one header or value changed
// where a test wants it. For the fabric's tests alone; every call blocks as the program's exchange does.
#ifndef KELVANE_TESTS_FABRIC_STORAGE_CLIENT_H
#define KELVANE_TESTS_FABRIC_STORAGE_CLIENT_H

#include <string>

#include "tests/fabric/fabric_program.h"

namespace kelvane::fabric_test {

inline const std::string kStatusUrl =
    "http://storage.example.invalid/status/kelvane.status"
    "?sv=2014-02-14&sr=b&sig=ZmFicmlj&se=2099-12-31T00%3A00%3A00Z&sp=rw";
inline const std::string kDate = "x-ms-date: 2026-01-31T12:00:00Z\r\n";
inline const std::string kStorage = kDate + "x-ms-version: 2014-02-14\r\n";

inline Reply storage_request(const FabricProgram &fabric, const std::string &method, const std::string &url,
                             const std::string &headers, const std::string &body = "") {
  const std::string length = method == "PUT" ? "Content-Length: " + std::to_string(body.size()) + "\r\n" : "";
  return fabric.exchange(method + " " + url + " HTTP/1.1\r\nHost: storage.example.invalid\r\n" + headers + length +
                         "\r\n" + body);
}

inline Reply put_block(const FabricProgram &fabric, const std::string &body, const std::string &url = kStatusUrl) {
  return storage_request(fabric, "PUT", url, kStorage + "x-ms-blob-type: BlockBlob\r\n", body);
}

inline Reply create_pages(const FabricProgram &fabric, const std::string &length, const std::string &url = kStatusUrl) {
  return storage_request(fabric, "PUT", url,
                         kStorage + "x-ms-blob-type: PageBlob\r\nx-ms-blob-content-length: " + length + "\r\n");
}

inline Reply put_pages(const FabricProgram &fabric, const std::string &range, const std::string &body,
                       const std::string &url = kStatusUrl) {
  return storage_request(fabric, "PUT", url + "&comp=page",
                         kStorage + "x-ms-page-write: update\r\nx-ms-range: " + range + "\r\n", body);
}

// The parameters of one event, in which everything else is as a good agent tells it.
std::string event_parameters(const std::string &name, const std::string &operation, const std::string &message = "",
                             const std::string &success = "True");
std::string telemetry(const std::string &events);
inline std::string event(const std::string &parameters) {
  return "<Event id=\"1\"><![CDATA[" + parameters + "]]></Event>";
}
inline Reply post_telemetry(const FabricProgram &fabric, const std::string &body) {
  return fabric.post("/machine/?comp=telemetrydata",
                     "x-ms-agent-name: TorvikGuest\r\nContent-Type: text/xml; charset=utf-8\r\n"
                     "x-ms-version: 2012-11-30\r\n",
                     body);
}

// The finding of that name in the verdict: "held" or the explanation of why not.
std::string finding_of(const FabricProgram &fabric, const std::string &name);

std::string replaced(std::string text, const std::string &from, const std::string &to);

}  // namespace kelvane::fabric_test

#endif
