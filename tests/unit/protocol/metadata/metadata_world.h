// A metadata service for the tests of the metadata protocol: the resources answer what a test gives them, everything
// else 404 with an empty body. No transport certificate at first, and nothing kept.
#ifndef KELVANE_TESTS_UNIT_PROTOCOL_METADATA_METADATA_WORLD_H
#define KELVANE_TESTS_UNIT_PROTOCOL_METADATA_METADATA_WORLD_H

#include <map>
#include <string>

#include "core/base/json_owners.h"
#include "protocol/protocol.h"
#include "tests/unit/protocol/spies.h"

inline constexpr char kIdentityUrl[] =
    "http://169.254.169.254/Microsoft.Compute/identity?api-version=2015-05-01-preview";
inline constexpr char kCertificatesUrl[] =
    "http://169.254.169.254/Microsoft.Compute/certificates?api-version=2015-05-01-preview";
inline constexpr char kExtensionsUrl[] =
    "http://169.254.169.254/Microsoft.Compute/extensionHandlers?api-version=2015-05-01-preview";
inline constexpr char kAgentVersionsUrl[] =
    "http://169.254.169.254/Microsoft.Compute/vmAgentVersions?api-version=2015-05-01-preview";

class MetadataTest : public WireTest {
 protected:
  MetadataTest();
  ~MetadataTest() override;

  // What a URL answers from now on: 200 and the body, with these headers.
  void serve(const std::string &url, const std::string &body, const std::vector<std::string> &headers = {});
  // The next attempts end so, without being made.
  static void end_attempts(const std::vector<int> &results);
  // Attempts made since the last call.
  static int performed();

  const kelvane::Protocol *protocol_;

 private:
  std::map<std::string, support::PeerAnswer> answers_;
};

// A request's bytes without the header by which some versions of libcurl ask before they upload.
std::string bytes_of(const support::PeerRequest &request);

// A document of a test, which must be JSON.
kelvane::JsonOwner parsed(const std::string &text);

#endif
