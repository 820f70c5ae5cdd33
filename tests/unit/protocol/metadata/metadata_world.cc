#include "tests/unit/protocol/metadata/metadata_world.h"

#include "core/base/json.h"
#include "credentials/transport_cert.h"
#include "protocol/metadata/metadata_protocol.h"

MetadataTest::MetadataTest() : protocol_(kelvane::ProtocolGetMetaData()) {
  kelvane::TransportCertCleanup();
  peer_->handler([this](const support::PeerRequest &request) {
    const auto found = answers_.find(request.target);
    return found != answers_.end() ? found->second : support::answer(404);
  });
}

MetadataTest::~MetadataTest() {
  protocol_->release(protocol_);
  kelvane::TransportCertCleanup();
  peer_.reset();  // its threads see answers_
}

void MetadataTest::serve(const std::string &url, const std::string &body, const std::vector<std::string> &headers) {
  answers_[url] = support::answer(200, body, headers);
}

void MetadataTest::end_attempts(const std::vector<int> &results) {
  spies::spies().attempts.clear();
  for (const int result : results) {
    spies::spies().attempts.push_back({result, 0});
  }
}

int MetadataTest::performed() {
  const int made = spies::spies().performed;
  spies::spies().performed = 0;
  return made;
}

std::string bytes_of(const support::PeerRequest &request) {
  const std::string expect = "Expect: 100-continue\r\n";
  std::string bytes = request.bytes;
  const size_t at = bytes.find(expect);
  return at == std::string::npos ? bytes : bytes.erase(at, expect.size());
}

kelvane::JsonOwner parsed(const std::string &text) {
  kelvane::JsonOwner document = kelvane::json_load(text.c_str());
  EXPECT_TRUE(document.present()) << text.substr(0, 200);
  return document;
}
